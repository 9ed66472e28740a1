#pragma once

#include <algorithm>
#include <string_view>

namespace norvane::platform {

// Letters of ASCII alone, whatever the locale.

[[nodiscard]] constexpr char AsciiCapital(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

[[nodiscard]] constexpr bool IsAsciiAlnum(char c) {
  const char capital = AsciiCapital(c);
  return (capital >= 'A' && capital <= 'Z') || (c >= '0' && c <= '9');
}

/// Whether `text` begins with `capitals`, in any letter case.
[[nodiscard]] constexpr bool StartsWithAnyCase(std::string_view text, std::string_view capitals) {
  return text.size() >= capitals.size() &&
         std::equal(capitals.begin(), capitals.end(), text.begin(),
                    [](char capital, char c) { return capital == AsciiCapital(c); });
}

}  // namespace norvane::platform
