#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
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

/// Control characters as \n, \t, \r and \x1b.
[[nodiscard]] std::string EscapeControls(std::string_view text);

/// Appends lines to log files. For one thread, the writer.
///
/// A pattern is a path in which %d, %m and %y stand for day, month and two-digit year, by the local time of
/// the line; any other "%" is literal, and "\" separates like "/". Missing folders are made. Folders
/// and files that it makes are the owner's only (0700, 0600). A link to a folder is followed, since an
/// administrator may keep logs elsewhere. One in the place of a file is not: lines hold what strangers sent.
/// For the same reason no line goes to the programs' own files in `folder`, such as the data file.
///
/// A line is "<ISO 8601 local time with milliseconds and zone> <text>" with control characters as \n, \t, \r
/// and \x1b, so that it stays one line and harmless on a terminal. A line that a full disk or a crash cut is
/// ended before the next one.
///
/// The engine's own day files (`files::MonitorLog`) are rotated at `MaxDayFileSize`.
class LogFiles {
 public:
  static constexpr std::uintmax_t MaxDayFileSize = 100 << 20;

  /// Called from the thread of `Write` when a file cannot be written, with what is wrong, and with an empty
  /// text when it can again. The lines in between are lost, and the file says so.
  using Report = std::function<void(const std::string& pattern, const std::string& problem)>;

  /// Relative patterns start at `folder`.
  LogFiles(std::string folder, Report report);

  /// Opens each file once, so that a file that was moved away is made anew.
  void Write(const std::vector<LogLine>& lines);
  /// Tries the files that could not be written last time, though there is no line for them.
  void Retry();

  /// Removes our own day files and rotated logs from our own log folder that were not written to for `age`.
  void RemoveOld(std::chrono::hours age);

 private:
  /// Lines that are missing in a file.
  struct Gap {
    std::size_t lines = 0;
    std::chrono::system_clock::time_point since, last;
    std::uintmax_t maxSize = 0;  // of the file
  };
  struct FileLines {
    std::string pattern;
    std::string text;
    std::uintmax_t maxSize = 0;
  };

  [[nodiscard]] std::map<std::string, FileLines> ByPath(const std::vector<LogLine>& lines) const;
  void WriteFile(const std::string& path, const FileLines& file);
  [[nodiscard]] std::optional<std::string> TryAppend(const std::string& path, std::string_view& text,
                                                     std::uintmax_t maxSize) const;
  [[nodiscard]] bool IsDayFile(const std::string& path) const;
  [[nodiscard]] bool IsOwnFile(const std::filesystem::path& path) const;

  std::string m_folder;
  Report m_report;
  std::map<std::string, Gap> m_gaps;  // by pattern
};

}  // namespace norvane::engine
