#include "platform/NumericAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>

namespace norvane::platform {

std::optional<SocketAddress> ParseNumericAddress(std::string_view text, std::uint16_t port) {
  const std::string terminated(text);
  if (terminated.find('\0') != std::string::npos) return std::nullopt;  // inet_pton would stop there
  SocketAddress address;
  auto& v4 = reinterpret_cast<sockaddr_in&>(address.storage);
  auto& v6 = reinterpret_cast<sockaddr_in6&>(address.storage);
  if (::inet_pton(AF_INET, terminated.c_str(), &v4.sin_addr) == 1) {
    v4.sin_family = AF_INET;
    v4.sin_port = htons(port);
    address.size = sizeof v4;
  } else if (::inet_pton(AF_INET6, terminated.c_str(), &v6.sin6_addr) == 1) {
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(port);
    address.size = sizeof v6;
  } else {
    return std::nullopt;
  }
  return address;
}

bool IsNumericIPv6(std::string_view text) {
  const auto address = ParseNumericAddress(text);
  return address && address->storage.ss_family == AF_INET6;
}

std::string NumericAddressText(const sockaddr& address) {
  char text[INET6_ADDRSTRLEN];
  const void* bytes =
      address.sa_family == AF_INET6
          ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr)
          : static_cast<const void*>(&reinterpret_cast<const sockaddr_in&>(address).sin_addr);
  return ::inet_ntop(address.sa_family, bytes, text, sizeof text) != nullptr ? text : "";
}

}  // namespace norvane::platform
