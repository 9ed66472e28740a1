#pragma once

#include <cstddef>
#include <string>

namespace norvane::platform {

/// Hexadecimal digits of `bytes` random bytes from the kernel, good enough for a secret.
[[nodiscard]] std::string RandomText(std::size_t bytes);

}  // namespace norvane::platform
