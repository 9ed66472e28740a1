#pragma once

#include <string>
#include <string_view>

namespace norvane::platform {

/// Replaces what cannot be decoded.
constexpr std::string_view ReplacementUtf8 = "\xef\xbf\xbd";

struct Utf8Character {
  char32_t code;     // U+FFFD for an invalid byte
  std::size_t size;  // in bytes; 0 for an invalid byte, to be skipped alone
};

/// The character at the start of `text`, which is not empty. Overlong forms, surrogates, codes above U+10FFFF
/// and cut sequences are invalid (RFC 3629).
[[nodiscard]] Utf8Character FirstCharacter(std::string_view text);

/// Whether `byte` begins a character in valid text: it is none of the bytes that continue one.
[[nodiscard]] constexpr bool BeginsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
}

[[nodiscard]] std::size_t CountCharacters(std::string_view text);

/// How many columns of a terminal valid `text` takes (UAX 11: wide characters two, combining ones none).
[[nodiscard]] std::size_t DisplayWidth(std::string_view text);
/// The start of valid `text` that takes at most `width` columns.
[[nodiscard]] std::string_view FittingColumns(std::string_view text, std::size_t width);

/// The start of valid `text`, at most `maxSize` bytes of it, that ends between two characters.
[[nodiscard]] std::string_view WholeCharacters(std::string_view text, std::size_t maxSize);

/// Whether `code` is one of the control characters C0, DEL and C1, all of which a terminal may obey.
[[nodiscard]] constexpr bool IsControl(char32_t code) {
  return code < 0x20 || (code >= 0x7f && code < 0xa0);
}

/// Whether `code` may change what a reader sees of the text around it: control characters, marks of direction
/// and whatever else has no shape of its own.
[[nodiscard]] bool IsInvisible(char32_t code);

/// How many bytes at the start of `text` are ASCII.
[[nodiscard]] std::size_t AsciiPrefix(std::string_view text);

[[nodiscard]] inline bool IsAscii(std::string_view text) {
  return AsciiPrefix(text) == text.size();
}

[[nodiscard]] bool IsValidUtf8(std::string_view bytes);

/// `bytes` with U+FFFD in place of each byte that is no part of a valid character.
[[nodiscard]] std::string ValidUtf8(std::string_view bytes);

/// Valid `text` in Unicode's form NFKC, in which characters that mean the same are the same. Throws
/// std::bad_alloc.
[[nodiscard]] std::string CompatibilityForm(std::string_view text);

}  // namespace norvane::platform
