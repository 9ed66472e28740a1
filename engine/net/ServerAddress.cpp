#include "engine/net/ServerAddress.h"

#include <algorithm>
#include <charconv>

#include "platform/Ascii.h"
#include "platform/Blanks.h"
#include "platform/NumericAddress.h"

namespace norvane::engine {

namespace {

constexpr std::string_view SchemeMark = "://";
constexpr std::size_t LongestName = 253;  // RFC 1035, as text

// libcurl's parser of URLs is none for these: it accepts users, paths, queries and any letter in a name,
// reads "0x7f.1" as 127.0.0.1, and refuses a bare IPv6 address.

bool IsName(std::string_view text) {
  return !text.empty() && text.size() <= LongestName && std::ranges::all_of(text, [](char c) {
    return platform::IsAsciiAlnum(c) || c == '-' || c == '.' || c == '_';
  });
}

std::optional<int> Port(std::string_view text) {
  int port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  const bool isPort = error == std::errc() && end == text.data() + text.size() && port >= 1 && port <= 65535;
  return isPort ? std::optional(port) : std::nullopt;
}

/// Cuts the scheme off `text`; `address` gets what it says.
bool CutScheme(std::string_view& text, const ServerSchemes& schemes, ServerAddress& address) {
  address.port = schemes.plainPort;
  address.isSecure = schemes.isAlwaysSecure;
  const auto mark = text.find(SchemeMark);
  if (mark == std::string_view::npos) return true;
  const auto scheme = text.substr(0, mark);
  text.remove_prefix(mark + SchemeMark.size());
  if (!platform::EqualsIgnoringCase(scheme, schemes.secure))
    return platform::EqualsIgnoringCase(scheme, schemes.plain);
  address.isSecure = true;
  address.port = schemes.securePort;
  return true;
}

/// Cuts the host off `text`, which leaves nothing or a colon and a port.
bool CutHost(std::string_view& text, ServerAddress& address) {
  const bool bracketed = text.starts_with('[');
  const auto end = bracketed ? text.find(']') : text.find(':');
  if (bracketed && end == std::string_view::npos) return false;
  const auto host = bracketed ? text.substr(1, end - 1) : text.substr(0, end);
  address.host = host.ends_with('.') ? host.substr(0, host.size() - 1) : host;
  if (bracketed ? !platform::IsNumericIPv6(host) : !IsName(address.host)) return false;
  text.remove_prefix(bracketed ? end + 1 : host.size());
  return true;
}

}  // namespace

std::optional<ServerAddress> ServerAddress::Parse(std::string_view text, const ServerSchemes& schemes) {
  ServerAddress address;
  text = platform::Trimmed(text);
  if (!CutScheme(text, schemes, address)) return std::nullopt;
  if (text.ends_with('/')) text.remove_suffix(1);
  if (platform::IsNumericIPv6(text)) {
    address.host = text;
    return address;
  }
  if (!CutHost(text, address)) return std::nullopt;
  if (text.empty()) return address;
  const auto port = text.starts_with(':') ? Port(text.substr(1)) : std::nullopt;
  if (!port) return std::nullopt;
  address.port = *port;
  return address;
}

}  // namespace norvane::engine
