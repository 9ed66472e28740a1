#include "formats/Duration.h"

#include <cmath>
#include <cstdint>

#include "formats/Number.h"

namespace norvane::formats {

namespace {

constexpr double MaxSeconds = 10 * 365.0 * 86400;

/// Of the unit that ends `text`; 0 if there is none.
double UnitOf(std::string_view text) {
  switch (text.empty() ? '\0' : text.back()) {
    case 's':
      return 1;
    case 'm':
      return 60;
    case 'h':
      return 3600;
    case 'd':
      return 86400;
    default:
      return 0;
  }
}

}  // namespace

std::optional<double> ParseSeconds(std::string_view text) {
  const auto unit = UnitOf(text);
  const auto number = ParseNumber(unit == 0 ? text : text.substr(0, text.size() - 1), 0, MaxSeconds);
  const auto seconds = number.value_or(-1) * (unit == 0 ? 1 : unit);
  if (seconds < 0 || seconds > MaxSeconds) return std::nullopt;
  return seconds;
}

std::optional<std::chrono::seconds> ParseDuration(std::string_view text) {
  const auto seconds = ParseSeconds(text);
  if (!seconds) return std::nullopt;
  return std::chrono::seconds(static_cast<std::int64_t>(*seconds));
}

std::string DurationText(double seconds) {
  for (const char unit : {'d', 'h', 'm'}) {
    const auto count = seconds / UnitOf({&unit, 1});
    if (count >= 1 && count == std::floor(count)) return FormatNumber(count) + unit;
  }
  return FormatNumber(seconds) + 's';
}

}  // namespace norvane::formats
