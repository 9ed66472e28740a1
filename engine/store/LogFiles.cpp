#include "engine/store/LogFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

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
#include "platform/Paths.h"
#include "platform/TimeText.h"
#include "platform/Utf8.h"

namespace norvane::engine {
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

void AppendEscaped(std::string_view text, std::string& line) {
  while (!text.empty()) {
    const auto [code, size] = platform::FirstCharacter(text);
    const auto bytes = text.substr(0, std::max<std::size_t>(size, 1));
    if (platform::IsControl(code))
      line += EscapeOf(static_cast<unsigned char>(code));
    else
      line += bytes;
    text.remove_prefix(bytes.size());
  }
}

platform::FileDescriptor Open(const std::string& path) {
  // Non-blocking, so that a pipe without reader cannot hold the writer.
  return platform::FileDescriptor(
      ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0600));
}

using Failure = std::optional<std::string>;

Failure LastError() {
  return std::generic_category().message(errno);
}

Failure WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const auto written = ::write(fd, text.data(), text.size());
    if (written < 0 && errno != EINTR) return LastError();
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return std::nullopt;
}

Failure Append(const std::string& path, std::string_view text, std::uintmax_t maxSize) {
  if (path.find('\0') != std::string::npos) return "NUL character in its name";
  auto file = Open(path);
  if (!file && errno == ENOENT) {
    if (const auto error = platform::MakeFolder(std::filesystem::path(path).parent_path().string()))
      return error.message();
    file = Open(path);
  }
  struct stat status {};
  if (!file || ::fstat(file.Get(), &status) != 0) return LastError();
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  const auto size = static_cast<std::uintmax_t>(status.st_size);
  if (maxSize != 0 && size != 0 && size + text.size() > maxSize) {
    if (::rename(path.c_str(), (path + ".1").c_str()) != 0) return LastError();
    file = Open(path);
    if (!file) return LastError();
  }
  return WriteAll(file.Get(), text);
}

/// One file's trouble, of whatever kind, is no other's.
Failure TryAppend(const std::string& path, std::string_view text, std::uintmax_t maxSize) {
  try {
    return Append(path, text, maxSize);
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

LogFiles::LogFiles(std::string folder, std::function<void(const std::string&)> report)
    : m_folder(std::move(folder)), m_report(std::move(report)) {}

void LogFiles::Write(const std::vector<LogLine>& lines) {
  struct FileLines {
    std::string pattern;
    std::string text;
    std::uintmax_t maxSize = 0;
  };
  std::map<std::string, FileLines> files;
  for (const auto& line : lines) {
    const auto local = platform::LocalTime(line.at);
    auto& file = files[PathOf(line.pattern, local, m_folder)];
    file.pattern = line.pattern;
    file.maxSize = line.maxFileSize;
    file.text += platform::TimeText(line.at, local) + " ";
    AppendEscaped(line.text, file.text);
    file.text += "\n";
  }
  for (const auto& [path, file] : files) {
    const auto failure = TryAppend(path, file.text, file.maxSize);
    if (!failure)
      m_failing.erase(file.pattern);
    else if (m_failing.insert(file.pattern).second)
      m_report("log file " + path + " cannot be written: " + *failure);
  }
}

}  // namespace norvane::engine
