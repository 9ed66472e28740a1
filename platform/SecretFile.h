#pragma once

#include <cstddef>
#include <string>

namespace norvane::platform {

/// The start of a regular file to which nobody but its owner has access, `maxSize` bytes of it at most. Never
/// blocks on a FIFO. Throws std::runtime_error with the reason, for the user.
[[nodiscard]] std::string ReadSecretFile(const std::string& path, std::size_t maxSize);

}  // namespace norvane::platform
