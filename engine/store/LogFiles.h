#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace norvane::engine {

struct LogLine {
  std::string pattern;  // of the file's path
  std::chrono::system_clock::time_point at;
  std::string text;  // may hold what a stranger sent
  /// Bytes; a file that these lines would make longer is rotated first: renamed to its name with ".1",
  /// replacing the one there. 0: no limit.
  std::uintmax_t maxFileSize = 0;
};

/// Appends lines to log files. For one thread, the writer.
///
/// A pattern is a path in which %d, %m and %y stand for day, month and two-digit year, by the local time of
/// the line; any other "%" is literal, and "\" separates like "/". Missing folders are made. Folders
/// and files that it makes are the owner's only (0700, 0600). Links are followed: an administrator may keep
/// logs elsewhere.
///
/// A line is "<ISO 8601 local time with milliseconds and zone> <text>" with control characters as \n, \t, \r
/// and \x1b, so that it stays one line and harmless on a terminal.
class LogFiles {
 public:
  /// Relative patterns start at `folder`. `report` gets a text for a person, from Write's thread.
  LogFiles(std::string folder, std::function<void(const std::string&)> report);

  /// Opens each file once, so that a file that was moved away is made anew. The lines of a file that cannot
  /// be written are lost; that is reported once for a pattern until it works again, and stops nothing.
  void Write(const std::vector<LogLine>& lines);

 private:
  std::string m_folder;
  std::function<void(const std::string&)> m_report;
  std::set<std::string> m_failing;  // patterns
};

}  // namespace norvane::engine
