#pragma once

#include <string>
#include <string_view>

namespace norvane::platform {

/// Stands for what cannot be decoded.
constexpr std::string_view ReplacementUtf8 = "\xef\xbf\xbd";

struct Utf8Character {
  char32_t code;     // U+FFFD for an invalid byte
  std::size_t size;  // in bytes; 0 for an invalid byte, which stands alone
};

/// The character at the start of `text`, which is not empty. Overlong forms, surrogates, codes above U+10FFFF
/// and cut sequences are invalid (RFC 3629).
[[nodiscard]] Utf8Character FirstCharacter(std::string_view text);

/// How many bytes at the start of `text` are ASCII.
[[nodiscard]] std::size_t AsciiPrefix(std::string_view text);

[[nodiscard]] inline bool IsAscii(std::string_view text) {
  return AsciiPrefix(text) == text.size();
}

/// `bytes` with U+FFFD in place of each byte that is no part of a valid character.
[[nodiscard]] std::string ValidUtf8(std::string_view bytes);

}  // namespace norvane::platform
