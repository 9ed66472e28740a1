#pragma once

#include <string>
#include <vector>

namespace norvane::engine {

/// Numeric addresses of one host with those first that this machine would rather use (RFC 6724): what it can
/// reach, then what is of its own kind, then IPv6 before IPv4. Others keep their order.
[[nodiscard]] std::vector<std::string> InOrderOfUse(std::vector<std::string> addresses);

/// Whether this machine knows a way to the numeric `address`. Nothing is sent.
[[nodiscard]] bool HasRoute(const std::string& address);

}  // namespace norvane::engine
