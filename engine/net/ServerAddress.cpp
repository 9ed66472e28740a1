#include "engine/net/ServerAddress.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

#include "platform/Blanks.h"

namespace norvane::engine {

namespace {

constexpr std::string_view SchemeMark = "://";
constexpr std::size_t LongestName = 253;  // RFC 1035, as text

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsIPv6(std::string_view text) {
  in6_addr bytes{};
  if (text.find('\0') != std::string_view::npos) return false;  // it would end there for inet_pton
  return ::inet_pton(AF_INET6, std::string(text).c_str(), &bytes) == 1;
}

bool IsName(std::string_view text) {
  return !text.empty() && text.size() <= LongestName && std::ranges::all_of(text, [](char c) {
    return (c >= '0' && c <= '9') || (Lower(c) >= 'a' && Lower(c) <= 'z') || c == '-' || c == '.' || c == '_';
  });
}

std::optional<int> Port(std::string_view text) {
  int port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  const bool isPort = error == std::errc() && end == text.data() + text.size() && port >= 1 && port <= 65535;
  return isPort ? std::optional(port) : std::nullopt;
}

/// Takes the scheme off `text`; `address` gets what it says.
bool TakeScheme(std::string_view& text, const ServerSchemes& schemes, ServerAddress& address) {
  address.port = schemes.plainPort;
  const auto mark = text.find(SchemeMark);
  if (mark == std::string_view::npos) return true;
  std::string scheme(text.substr(0, mark));
  std::ranges::transform(scheme, scheme.begin(), &Lower);
  address.isSecure = scheme == schemes.secure;
  if (address.isSecure) address.port = schemes.securePort;
  text.remove_prefix(mark + SchemeMark.size());
  return address.isSecure || scheme == schemes.plain;
}

/// Takes the host off `text`, which leaves nothing or a colon and a port.
bool TakeHost(std::string_view& text, ServerAddress& address) {
  const bool bracketed = text.starts_with('[');
  const auto end = bracketed ? text.find(']') : text.find(':');
  if (bracketed && end == std::string_view::npos) return false;
  const auto host = bracketed ? text.substr(1, end - 1) : text.substr(0, end);
  address.host = host.ends_with('.') ? host.substr(0, host.size() - 1) : host;
  if (bracketed ? !IsIPv6(host) : !IsName(address.host)) return false;
  text.remove_prefix(bracketed ? end + 1 : host.size());
  return true;
}

}  // namespace

std::optional<ServerAddress> ServerAddress::Parse(std::string_view text, const ServerSchemes& schemes) {
  ServerAddress address;
  text = platform::Trimmed(text);
  if (!TakeScheme(text, schemes, address)) return std::nullopt;
  if (text.ends_with('/')) text.remove_suffix(1);
  if (IsIPv6(text)) {
    address.host = text;
    return address;
  }
  if (!TakeHost(text, address)) return std::nullopt;
  if (text.empty()) return address;
  const auto port = text.starts_with(':') ? Port(text.substr(1)) : std::nullopt;
  if (!port) return std::nullopt;
  address.port = *port;
  return address;
}

}  // namespace norvane::engine
