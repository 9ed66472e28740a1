#pragma once

#include <string>
#include <string_view>

namespace norvane::platform {

/// The value of `key` in `section` of a text file of sections ("[help]") and lines "key=value", by the rules
/// of GetPrivateProfileStringA:
/// - names match in any letter case (ASCII letters only); the first section of a name counts, and in it the
///   first line with the key;
/// - blanks and tabs around names and values do not count, nor does one pair of quotes around a value, single
///   or double; lines that begin with ";" and lines without "=" are skipped; nothing is unescaped or split;
/// - the result is cut to 299 characters, what a buffer of 300 holds.
/// Gives `defaultValue`, without its trailing blanks, where the key is not found. A file that is missing,
/// refused, no regular file or larger than 1 MiB counts as empty. The text is UTF-8; a byte order mark, LF
/// and CRLF are understood. The file is read anew at each call. Any thread.
[[nodiscard]] std::string IniValue(std::string_view section, std::string_view key,
                                   std::string_view defaultValue, const std::string& filePath);

}  // namespace norvane::platform
