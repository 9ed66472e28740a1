#include "formats/Number.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include "platform/Blanks.h"

namespace norvane::formats {
namespace {

constexpr int SignificantDigits = 15;  // as many as every double gives back unchanged
constexpr double ExponentFrom = 1e15;
constexpr double ExponentBelow = 1e-15;

struct LeadingNumber {
  double value;
  std::string_view rest;
};

// from_chars ignores the locale, but accepts "nan" and "inf" and refuses "+".
std::optional<LeadingNumber> ReadNumber(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  if (text.find_first_of("0123456789.") != 0) return std::nullopt;

  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{}) return std::nullopt;
  return LeadingNumber{negative ? -value : value, {stop, end}};
}

double Rounded(double value) {
  char digits[40];
  const auto written = std::to_chars(std::begin(digits), std::end(digits), value,
                                     std::chars_format::scientific, SignificantDigits - 1);
  double rounded = value;  // stays where rounding up would leave the range
  std::from_chars(digits, written.ptr, rounded);
  return rounded;
}

}  // namespace

double Val(std::string_view text) {
  const auto number = ReadNumber(platform::Trimmed(text));
  return number ? number->value : 0;
}

std::optional<double> ParseNumber(std::string_view text) {
  const auto number = ReadNumber(platform::Trimmed(text));
  if (!number || !number->rest.empty()) return std::nullopt;
  return number->value;
}

std::optional<double> ParseNumber(std::string_view text, double least, double most) {
  const auto number = ParseNumber(text);
  return number && *number >= least && *number <= most ? number : std::nullopt;
}

double ActingNumber(std::string_view text, double least, double most, double fallback) {
  const auto number = ParseNumber(text);
  const bool counts = number && (*number > 0 || *number == least);
  return counts ? std::clamp(*number, least, most) : fallback;
}

std::string FormatNumber(double value) {
  if (value == 0) return "0";  // -0 too
  const double rounded = Rounded(value);
  const double size = std::abs(rounded);
  const auto format =
      size < ExponentFrom && size >= ExponentBelow ? std::chars_format::fixed : std::chars_format::scientific;
  char text[40];
  return {text, std::to_chars(std::begin(text), std::end(text), rounded, format).ptr};
}

}  // namespace norvane::formats
