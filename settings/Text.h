#pragma once

#include <string>
#include <string_view>

/// Text as the rules of the forms see it: characters, not bytes, whatever the locale of the process. The text
/// is UTF-8; a byte that is not part of a character passes through unchanged. To trim, use
/// platform::Trimmed, to count characters platform::CountCharacters. Any thread.
namespace norvane::settings {

/// Position of the first `what` in `text`, counted in characters from 1; 0 if there is none. Case-sensitive.
[[nodiscard]] std::size_t Position(std::string_view text, std::string_view what);

/// `text` in upper or lower case: each letter of any script by itself (Unicode's simple mapping),
/// so "ß" stays.
[[nodiscard]] std::string Upper(std::string_view text);
[[nodiscard]] std::string Lower(std::string_view text);

}  // namespace norvane::settings
