#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace norvane::engine {

/// The two schemes of a protocol, in small letters, and their ports.
struct ServerSchemes {
  std::string_view plain;  ///< TLS only if the server offers it
  int plainPort;
  std::string_view secure;  ///< TLS from the first byte, by a certificate that is verified
  int securePort;
  bool isAlwaysSecure = false;  ///< the plain scheme is like the secure one, but for its port
};

/// Where a server is, as a user names it.
struct ServerAddress {
  std::string host;  ///< DNS name or bare IP address
  int port = 0;
  bool isSecure = false;

  /// Reads host, host:port, IPv4, IPv6, [IPv6], [IPv6]:port, and each of them behind "scheme://".
  /// Blanks around it and a slash at its end do no harm; anything else is no address.
  [[nodiscard]] static std::optional<ServerAddress> Parse(std::string_view text,
                                                          const ServerSchemes& schemes);
};

}  // namespace norvane::engine
