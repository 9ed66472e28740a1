#include "platform/IniFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>

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

std::string ReadFile(const std::string& path) {
  // Non-blocking, so that a FIFO of that name cannot block the caller.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};

  std::string text(MaxFileSize + 1, '\0');
  std::size_t size = 0;
  while (size < text.size()) {
    const auto got = ::read(file.Get(), text.data() + size, text.size() - size);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return {};
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  if (size > MaxFileSize) return {};
  text.resize(size);
  return text;
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

std::optional<std::string_view> Find(std::string_view text, std::string_view section, std::string_view key) {
  bool inSection = false;
  while (!text.empty()) {
    const auto end = text.find('\n');
    const auto line = Trimmed(text.substr(0, end), IniBlanks);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.starts_with('[')) {
      if (inSection) return std::nullopt;
      inSection = EqualsIgnoringCase(Trimmed(line.substr(1, line.find(']') - 1), IniBlanks), section);
    } else if (const auto equals = line.find('=');
               inSection && equals != std::string_view::npos && !line.starts_with(';')) {
      if (EqualsIgnoringCase(Trimmed(line.substr(0, equals), IniBlanks), key))
        return Unquoted(Trimmed(line.substr(equals + 1), IniBlanks));
    }
  }
  return std::nullopt;
}

}  // namespace

std::string IniValue(std::string_view section, std::string_view key, std::string_view defaultValue,
                     const std::string& filePath) {
  const std::string content = ReadFile(filePath);
  std::string_view text = content;
  if (text.starts_with(ByteOrderMark)) text.remove_prefix(ByteOrderMark.size());
  if (const auto value = Find(text, Trimmed(section), Trimmed(key))) return Cut(*value);
  return Cut(defaultValue.substr(0, defaultValue.find_last_not_of(' ') + 1));
}

}  // namespace norvane::platform
