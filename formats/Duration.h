#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace norvane::formats {

/// A time as people write it: a number of seconds, or of what a unit behind it says: s, m, h or d ("90",
/// "1.5h", "1 d"). Not negative, ten years at most.
[[nodiscard]] std::optional<std::chrono::seconds> ParseDuration(std::string_view text);

}  // namespace norvane::formats
