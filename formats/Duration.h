#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace norvane::formats {

/// A time as people write it: a number of seconds, or of what a unit behind it says: s, m, h or d ("90",
/// "1.5h", "1 d"). Not negative, ten years at most.
[[nodiscard]] std::optional<std::chrono::seconds> ParseDuration(std::string_view text);
/// The same in seconds, with their fraction.
[[nodiscard]] std::optional<double> ParseSeconds(std::string_view text);
/// In the largest unit of which it is a whole number; else in seconds: "90s", "2m", "0.5s".
[[nodiscard]] std::string DurationText(double seconds);

}  // namespace norvane::formats
