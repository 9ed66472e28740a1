#pragma once

#include <string>
#include <string_view>

/// Text as the rules of the forms see it: characters, not bytes, whatever the locale of the process. The text
/// is UTF-8; a byte that is no part of a character passes through unchanged. To cut blanks off, use
/// platform::Trimmed, to count characters platform::CountCharacters. Any thread.
namespace norvane::settings {

/// Where `what` first stands in `text`, counted in characters from 1; 0 if it does not occur. Capitals and
/// small letters differ.
[[nodiscard]] std::size_t Position(std::string_view text, std::string_view what);

/// `text` in capitals, or in small letters: each letter of any script by itself (Unicode's simple mapping),
/// so "ß" stays.
[[nodiscard]] std::string Upper(std::string_view text);
[[nodiscard]] std::string Lower(std::string_view text);

}  // namespace norvane::settings
