#pragma once

#include <string_view>

namespace norvane::platform {

/// `text` without its leading and trailing blanks. A blank is U+0020 unless `blanks` lists others.
[[nodiscard]] constexpr std::string_view Trimmed(std::string_view text, std::string_view blanks = " ") {
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace norvane::platform
