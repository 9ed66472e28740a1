#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace norvane::formats {

// Numbers as text, the same in every locale: a sign, digits with at most one point, a decimal exponent
// ("-1.5e3"). No thousands separators, no hexadecimal, no "nan" or "inf". Outer blanks (U+0020) do not count.
// A number outside the range of a double reads as none, further digits than a double holds are rounded.

/// The number at the start of `text`, 0 if there is none. What follows it is ignored.
[[nodiscard]] double Val(std::string_view text);

/// The number if the whole of `text` is one.
[[nodiscard]] std::optional<double> ParseNumber(std::string_view text);
/// The same for numbers from `least` to `most`.
[[nodiscard]] std::optional<double> ParseNumber(std::string_view text, double least, double most);

/// What the engine makes of a setting: the number clamped to the range, or `fallback` if it is negative, not
/// a number, or a 0 below `least`.
[[nodiscard]] double ActingNumber(std::string_view text, double least, double most, double fallback);

/// The shortest decimal text of `value`, which is finite, in up to 15 significant digits: 9, 1.5, -0.25.
/// It has an exponent only from 1e15 up and below 1e-15. ParseNumber reads it back.
[[nodiscard]] std::string FormatNumber(double value);

}  // namespace norvane::formats
