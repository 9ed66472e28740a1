#include "platform/IniFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <system_error>
#include <utility>

#include "platform/Ascii.h"
#include "platform/Blanks.h"
#include "platform/FileDescriptor.h"
#include "platform/Utf8.h"

namespace norvane::platform {
namespace {

constexpr std::size_t MaxFileSize = 1 << 20;
constexpr std::size_t MaxValueCharacters = 299;
constexpr std::string_view IniBlanks = " \t\r";
constexpr std::string_view ByteOrderMark = "\xef\xbb\xbf";

std::string LastError() {
  return std::generic_category().message(errno);
}

/// Gives what is wrong; nothing is wrong with a file that is missing.
std::string ReadFile(const std::string& path, std::string& text) {
  // Non-blocking, so that a FIFO of that name cannot block the caller.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file && errno == ENOENT) return {};
  if (!file || ::fstat(file.Get(), &status) != 0) return LastError();
  if (!S_ISREG(status.st_mode)) return "not a regular file";

  std::string bytes(MaxFileSize + 1, '\0');
  std::size_t size = 0;
  while (size < bytes.size()) {
    const auto got = ::read(file.Get(), bytes.data() + size, bytes.size() - size);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return LastError();
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  if (size > MaxFileSize) return "larger than 1 MiB";
  bytes.resize(size);
  text = std::move(bytes);
  return {};
}

std::string_view Unquoted(std::string_view value) {
  const bool quoted =
      value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
  return quoted ? value.substr(1, value.size() - 2) : value;
}

std::string Cut(std::string_view value) {
  std::size_t characters = 0;
  const auto end = std::find_if(value.begin(), value.end(), [&](char c) {
    return BeginsCharacter(c) && ++characters > MaxValueCharacters;
  });
  return {value.begin(), end};
}

}  // namespace

IniFile::IniFile(const std::string& path) {
  std::string content;
  problem = ReadFile(path, content);
  std::string_view text = content;
  if (text.starts_with(ByteOrderMark)) text.remove_prefix(ByteOrderMark.size());
  std::set<std::string> names, keys;  // those of the sections, and of the entries of the last one
  bool isRepeated = false;            // the section
  int number = 0;
  const auto ignore = [&](const std::string& why) {
    ignored.push_back("line " + std::to_string(number) + " " + why + ", ignored");
  };
  while (!text.empty()) {
    ++number;
    const auto end = text.find('\n');
    const auto line = Trimmed(text.substr(0, end), IniBlanks);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.empty() || line.starts_with(';')) continue;
    if (problem.empty() && !IsValidUtf8(line)) problem = "line " + std::to_string(number) + " is not UTF-8";
    if (line.starts_with('[')) {
      const std::string name(Trimmed(line.substr(1, line.find(']') - 1), IniBlanks));
      isRepeated = !names.insert(AsciiUpper(name)).second;
      keys.clear();
      if (isRepeated)
        ignore("begins a second section [" + name + "]");
      else
        sections.push_back({name, {}});
      continue;
    }
    const auto equals = line.find('=');
    const std::string key(Trimmed(line.substr(0, equals), IniBlanks));
    if (equals == std::string_view::npos)
      ignore("has no \"=\"");
    else if (sections.empty())
      ignore("is before all sections");
    else if (!isRepeated && !keys.insert(AsciiUpper(key)).second)
      ignore("is a second " + key + " in [" + sections.back().name + "]");
    else if (!isRepeated)
      sections.back().entries.push_back(
          {key, std::string(Unquoted(Trimmed(line.substr(equals + 1), IniBlanks)))});
  }
}

std::optional<std::string> IniFile::Find(std::string_view section, std::string_view key) const {
  const auto found = std::ranges::find_if(
      sections, [&](const Section& each) { return EqualsIgnoringCase(each.name, section); });
  if (found == sections.end()) return std::nullopt;
  const auto entry = std::ranges::find_if(
      found->entries, [&](const Entry& each) { return EqualsIgnoringCase(each.key, key); });
  if (entry == found->entries.end()) return std::nullopt;
  return Cut(entry->value);
}

std::string IniValue(std::string_view section, std::string_view key, std::string_view defaultValue,
                     const std::string& filePath) {
  const IniFile file(filePath);
  if (const auto value = file.Find(Trimmed(section), Trimmed(key))) return *value;
  return Cut(defaultValue.substr(0, defaultValue.find_last_not_of(' ') + 1));
}

}  // namespace norvane::platform
