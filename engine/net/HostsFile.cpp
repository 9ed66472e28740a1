#include "engine/net/HostsFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/Ascii.h"
#include "platform/FileDescriptor.h"
#include "platform/NumericAddress.h"
#include "platform/QuietThread.h"

namespace norvane::engine {

namespace {

constexpr std::chrono::seconds LookInterval{1};
constexpr std::size_t MaxSize = 64 << 20;  // the rest is ignored
constexpr std::size_t MaxFound = 16;       // of a name
constexpr std::string_view Blanks = " \t\r\v\f";

/// Empty if there is no such file; nothing if it cannot be read.
std::optional<std::string> TextOf(const std::string& path) {
  const platform::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  std::string text;
  if (!file) return errno == ENOENT ? std::optional(text) : std::nullopt;
  for (std::array<char, 64 << 10> piece; text.size() < MaxSize;) {
    const auto got = ::read(file.Get(), piece.data(), piece.size());
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    text.append(piece.data(), static_cast<std::size_t>(got));
  }
  return text;
}

/// Cuts the first word off the start of `line`; empty if there is none.
std::string_view CutWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(Blanks), line.size()));
  const auto word = line.substr(0, line.find_first_of(Blanks));
  line.remove_prefix(word.size());
  return word;
}

/// As answers of name servers are written; empty for what is no address.
std::string Normalized(std::string_view address) {
  const auto parsed = platform::ParseNumericAddress(address);
  return parsed ? platform::NumericAddressText(parsed->Get()) : std::string();
}

}  // namespace

/// Two blocks of memory however many names there are, since it may be a loop that frees them.
struct HostsFile::Names {
  struct Entry {
    std::string_view name, address;
  };
  std::string text;            // in small letters
  std::vector<Entry> entries;  // by name, then by line

  explicit Names(std::string content) : text(std::move(content)) {
    std::ranges::transform(text, text.begin(), [](char c) { return platform::AsciiLower(c); });
    for (std::string_view rest = text; !rest.empty();) {
      const auto size = std::min(rest.find('\n'), rest.size());
      AddLine(rest.substr(0, size));
      rest.remove_prefix(std::min(size + 1, rest.size()));
    }
    std::ranges::stable_sort(entries, {}, &Entry::name);
  }
  void AddLine(std::string_view line) {
    line = line.substr(0, line.find('#'));
    const auto address = CutWord(line);
    for (auto name = CutWord(line); !name.empty(); name = CutWord(line))
      entries.push_back({name, address});
  }
};

HostsFile::HostsFile(std::string path) : m_path(std::move(path)) {
  Read(platform::FileStamp::Of(m_path.c_str()));
}

HostsFile::~HostsFile() {
  if (m_reader.joinable()) m_reader.join();
}

std::vector<std::string> HostsFile::Find(std::string_view name, Moment now) {
  std::shared_ptr<const Names> names;
  {
    const std::lock_guard lock(m_mutex);
    if (now >= m_looked + LookInterval) LookForChange(now);
    names = m_names;
  }
  std::vector<std::string> addresses;
  if (!names) return addresses;
  std::string lower(name);
  std::ranges::transform(lower, lower.begin(), [](char c) { return platform::AsciiLower(c); });
  auto entry = std::ranges::lower_bound(names->entries, std::string_view(lower), {}, &Names::Entry::name);
  for (; entry != names->entries.end() && entry->name == lower; ++entry) {
    auto address = Normalized(entry->address);
    if (address.empty() || std::ranges::find(addresses, address) != addresses.end()) continue;
    addresses.push_back(std::move(address));
    if (addresses.size() == MaxFound) break;
  }
  return addresses;
}

bool HostsFile::IsUnreadable(Moment now) {
  if (!m_isUnreadable) return false;
  const std::lock_guard lock(m_mutex);
  if (now >= m_looked + LookInterval) LookForChange(now);
  return m_isUnreadable;
}

void HostsFile::LookForChange(Moment now) {
  m_looked = now;
  const auto stamp = platform::FileStamp::Of(m_path.c_str());
  if ((stamp == m_stamp && !m_isUnreadable) || m_isReading) return;
  if (m_reader.joinable()) m_reader.join();  // it is about to end
  m_isReading = true;
  try {
    m_reader = platform::StartQuietThread([this, stamp] {
      Read(stamp);
      m_isReading = false;
    });
  } catch (const std::system_error&) {
    m_isReading = false;  // the next look tries again
  }
}

void HostsFile::Read(const platform::FileStamp& stamp) noexcept {
  try {
    auto text = TextOf(m_path);
    m_isUnreadable = !text;
    if (!text) return;  // the next look tries again
    std::shared_ptr<const Names> names = std::make_shared<const Names>(std::move(*text));
    const std::lock_guard lock(m_mutex);
    m_names.swap(names);
    m_stamp = stamp;
  } catch (const std::bad_alloc&) {
    // The former names hold until there is memory.
  }
}

}  // namespace norvane::engine
