#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace norvane::platform {

// Characters of ASCII, whatever the locale. Only its letters have a case.

[[nodiscard]] constexpr char AsciiUpper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

[[nodiscard]] constexpr char AsciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

[[nodiscard]] inline std::string AsciiUpper(std::string_view text) {
  std::string upper(text);
  for (char& c : upper)
    c = AsciiUpper(c);
  return upper;
}

[[nodiscard]] constexpr bool IsAsciiDigit(char c) {
  return c >= '0' && c <= '9';
}

[[nodiscard]] constexpr bool IsAsciiAlnum(char c) {
  const char upper = AsciiUpper(c);
  return (upper >= 'A' && upper <= 'Z') || IsAsciiDigit(c);
}

[[nodiscard]] constexpr bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return AsciiUpper(x) == AsciiUpper(y); });
}

[[nodiscard]] constexpr bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  return EqualsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

[[nodiscard]] constexpr bool IsAsciiControl(char c) {
  return (c >= 0 && c < ' ') || c == '\x7f';
}

/// Two hexadecimal digits.
[[nodiscard]] inline std::string HexText(unsigned char byte) {
  constexpr char Digits[] = "0123456789abcdef";
  return {Digits[byte >> 4], Digits[byte & 15]};
}

}  // namespace norvane::platform
