#pragma once

#include <string>
#include <vector>

namespace norvane::engine {

/// Numeric addresses of one host with those first that this machine would rather use (RFC 6724): what it can
/// reach, then what is of its own kind, then IPv6 before IPv4. Others keep their order.
[[nodiscard]] std::vector<std::string> InOrderOfUse(std::vector<std::string> addresses);

}  // namespace norvane::engine
