#include "engine/store/LogFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/Ascii.h"
#include "platform/FileDescriptor.h"
#include "platform/FileNames.h"
#include "platform/Paths.h"
#include "platform/TimeText.h"
#include "platform/Utf8.h"

namespace norvane::engine {

namespace fs = std::filesystem;

namespace {

std::string PathOf(const std::string& pattern, const std::tm& local, const std::string& folder) {
  const std::string path = platform::NativePath(pattern);
  std::string expanded = path.starts_with('/') ? std::string() : folder + "/";
  for (std::size_t i = 0; i < path.size(); ++i) {
    const auto field = path.substr(i, 2);
    const bool isField = field == "%d" || field == "%m" || field == "%y";
    expanded += isField ? platform::FormatTime(field.c_str(), local) : path.substr(i, 1);
    if (isField) ++i;
  }
  return expanded;
}

std::string EscapeOf(unsigned char control) {
  switch (control) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return "\\x" + platform::HexText(control);
  }
}

platform::FileDescriptor Open(const std::string& path) {
  // Non-blocking, so that a FIFO cannot block the writer.
  constexpr int flags = O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;
  const int fd = ::open(path.c_str(), O_RDWR | flags, 0600);
  return platform::FileDescriptor(fd < 0 && errno == EACCES ? ::open(path.c_str(), O_WRONLY | flags, 0600)
                                                            : fd);
}

bool EndsWithNewline(int fd, off_t size) {
  char last = '\n';
  return size == 0 || ::pread(fd, &last, 1, size - 1) != 1 || last == '\n';
}

/// In the background standard error is the engine's log, for whatever a library or a crash prints.
void MoveStandardOutput(const struct stat& from, int to) {
  for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
    struct stat status {};
    if (::fstat(fd, &status) == 0 && status.st_dev == from.st_dev && status.st_ino == from.st_ino)
      ::dup2(to, fd);
  }
}

using Failure = std::optional<std::string>;

Failure LastError() {
  return std::generic_category().message(errno);
}

/// Leaves in `text` what was not written.
Failure WriteAll(int fd, std::string_view& text) {
  while (!text.empty()) {
    const auto written = ::write(fd, text.data(), text.size());
    if (written < 0 && errno != EINTR) return LastError();
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return std::nullopt;
}

Failure Append(const std::string& path, std::string_view& text, std::uintmax_t maxSize) {
  if (path.find('\0') != std::string::npos) return "NUL character in its name";
  auto file = Open(path);
  if (!file && errno == ENOENT) {
    if (const auto error = platform::MakeFolder(fs::path(path).parent_path().string()))
      return error.message();
    file = Open(path);
  }
  if (!file && errno == ELOOP) return "is a symbolic link";
  struct stat status {};
  if (!file || ::fstat(file.Get(), &status) != 0) return LastError();
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  const auto size = static_cast<std::uintmax_t>(status.st_size);
  if (maxSize != 0 && size != 0 && size + text.size() > maxSize) {
    if (::rename(path.c_str(), (path + ".1").c_str()) != 0) return LastError();
    file = Open(path);
    if (!file) return LastError();
    MoveStandardOutput(status, file.Get());
  } else if (!EndsWithNewline(file.Get(), status.st_size)) {
    std::string_view newline = "\n";
    if (auto failure = WriteAll(file.Get(), newline)) return failure;
  }
  return WriteAll(file.Get(), text);
}

void AppendLine(platform::WallTime at, const std::tm& local, std::string_view text, std::string& to) {
  to += platform::TimeText(at, local) + " ";
  to += EscapeControls(text);
  to += "\n";
}

/// `name` has the form of `pattern`, in which "#" is a digit.
bool Matches(std::string_view name, std::string_view pattern) {
  return std::ranges::equal(
      name, pattern, [](char c, char form) { return form == '#' ? platform::IsAsciiDigit(c) : c == form; });
}

/// In the log folder.
constexpr std::string_view DayFile = "NorvaneLog######.log";
constexpr std::string_view RemovableFiles[] = {DayFile, "NorvaneLog######.log.1", "engine.log.1",
                                               "commands.log.1"};
/// In the application folder; those of the data file and the state file have more parts, such as a journal.
constexpr std::string_view OwnPrefixes[] = {"NorvaneEngine.", "NorvaneConsole.", "config.ini", "help.htm"};
constexpr std::string_view OwnNames[] = {"norvane", "norvane-engine", "norvanectl"};
/// For a file that gets no more lines.
constexpr std::chrono::hours MaxRetryTime{24};

}  // namespace

std::string EscapeControls(std::string_view text) {
  std::string line;
  while (!text.empty()) {
    const auto [code, size] = platform::FirstCharacter(text);
    const auto bytes = text.substr(0, std::max<std::size_t>(size, 1));
    if (platform::IsControl(code))
      line += EscapeOf(static_cast<unsigned char>(code));
    else
      line += bytes;
    text.remove_prefix(bytes.size());
  }
  return line;
}

LogFiles::LogFiles(std::string folder, Report report)
    : m_folder(std::move(folder)), m_report(std::move(report)) {}

void LogFiles::Write(const std::vector<LogLine>& lines) {
  for (const auto& [path, file] : ByPath(lines))
    WriteFile(path, file);
}

void LogFiles::Retry() {
  const auto now = platform::LocalTime(std::chrono::system_clock::now());
  const auto gaps = m_gaps;
  for (const auto& [pattern, gap] : gaps)
    WriteFile(PathOf(pattern, now, m_folder), {pattern, {}, gap.maxSize});
}

std::map<std::string, LogFiles::FileLines> LogFiles::ByPath(const std::vector<LogLine>& lines) const {
  std::map<std::string, FileLines> files;
  for (const auto& line : lines) {
    const auto local = platform::LocalTime(line.at);
    auto& file = files[PathOf(line.pattern, local, m_folder)];
    file.pattern = line.pattern;
    file.maxSize = line.maxFileSize;
    AppendLine(line.at, local, line.text, file.text);
  }
  return files;
}

void LogFiles::WriteFile(const std::string& path, const FileLines& file) {
  const auto now = std::chrono::system_clock::now();
  const auto known = m_gaps.find(file.pattern);
  std::string text;
  if (known != m_gaps.end()) {
    const auto& gap = known->second;
    AppendLine(now, platform::LocalTime(now),
               "lines missing here: " + std::to_string(gap.lines) + ", the first of " +
                   platform::TimeText(gap.since),
               text);
  }
  text += file.text;
  std::string_view rest = text;
  const auto failure = TryAppend(path, rest, IsDayFile(path) ? MaxDayFileSize : file.maxSize);
  if (!failure) {
    if (known != m_gaps.end()) m_gaps.erase(known), m_report(file.pattern, {});
    return;
  }
  const auto missing = static_cast<std::size_t>(std::ranges::count(rest, '\n'));
  if (known == m_gaps.end()) {
    m_gaps[file.pattern] = {missing, now, now, file.maxSize};
    return m_report(file.pattern, "log file " + path + " cannot be written: " + *failure);
  }
  auto& gap = known->second;
  const bool saysSo = rest.size() <= file.text.size();  // the line on the gap was written
  gap.lines = saysSo ? missing : gap.lines + missing - 1;
  if (!file.text.empty()) gap.last = now;
  if (now - gap.last <= MaxRetryTime) return;
  m_gaps.erase(known);
  m_report(file.pattern, {});
}

/// Whatever fails with one file, the others are still written.
Failure LogFiles::TryAppend(const std::string& path, std::string_view& text, std::uintmax_t maxSize) const {
  try {
    return IsOwnFile(path) ? "a file of Norvane's own" : Append(path, text, maxSize);
  } catch (const std::exception& error) {
    return error.what();
  }
}

/// Whichever way the path leads there; the last part of it is no link (see `Open`).
bool LogFiles::IsOwnFile(const fs::path& path) const {
  const auto name = path.filename().string();
  const auto lies = [folder = path.parent_path()](const fs::path& in) {
    std::error_code missing;
    return fs::equivalent(folder, in, missing);
  };
  const bool hasOwnName =
      std::ranges::any_of(OwnPrefixes, [&](auto prefix) { return name.starts_with(prefix); }) ||
      std::ranges::find(OwnNames, name) != std::end(OwnNames);
  return (hasOwnName && lies(m_folder)) || lies(m_folder + "/help");
}

bool LogFiles::IsDayFile(const std::string& path) const {
  const auto folder = platform::PathIn(m_folder, platform::files::LogFolder) + "/";
  return path.starts_with(folder) && Matches(std::string_view(path).substr(folder.size()), DayFile);
}

void LogFiles::RemoveOld(std::chrono::hours age) {
  const auto oldest = fs::file_time_type::clock::now() - age;
  std::error_code error;
  for (const auto& entry :
       fs::directory_iterator(platform::PathIn(m_folder, platform::files::LogFolder), error)) {
    const auto name = entry.path().filename().string();
    const bool isOurs =
        std::ranges::any_of(RemovableFiles, [&](auto pattern) { return Matches(name, pattern); });
    if (isOurs && entry.symlink_status(error).type() == fs::file_type::regular &&
        entry.last_write_time(error) < oldest && !error)
      fs::remove(entry.path(), error);
  }
}

}  // namespace norvane::engine
