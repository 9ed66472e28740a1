#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace norvane::platform {

/// An IP address and a port as the system wants them.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t size = 0;

  [[nodiscard]] const sockaddr& Get() const { return reinterpret_cast<const sockaddr&>(storage); }
};

/// Nothing unless `text` is a bare numeric address of IPv4 or IPv6.
[[nodiscard]] std::optional<SocketAddress> ParseNumericAddress(std::string_view text, std::uint16_t port = 0);

[[nodiscard]] bool IsNumericIPv6(std::string_view text);

/// The address without its port; empty if it is not of IPv4 or IPv6.
[[nodiscard]] std::string NumericAddressText(const sockaddr& address);

}  // namespace norvane::platform
