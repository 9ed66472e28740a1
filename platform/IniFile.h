#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace norvane::platform {

/// A text file of sections ("[help]") and lines "key=value", by the rules of GetPrivateProfileStringA:
/// - names match in any letter case (ASCII letters only);
/// - blanks and tabs around names and values do not count, nor does one pair of quotes around a value, single
///   or double; lines that begin with ";" and lines without "=" are skipped; nothing is unescaped or split;
/// - of sections of the same name the first counts, and in it of lines with the same key the first;
/// - a value that is looked up is cut to 299 characters, what a buffer of 300 holds.
/// The text is UTF-8; a byte order mark, LF and CRLF are understood.
struct IniFile {
  struct Entry {
    std::string key;
    std::string value;  ///< whole
  };
  struct Section {
    std::string name;
    std::vector<Entry> entries;
  };

  /// Reads it; any thread.
  explicit IniFile(const std::string& path);

  [[nodiscard]] std::optional<std::string> Find(std::string_view section, std::string_view key) const;

  std::vector<Section> sections;     ///< those that count, in their order
  std::vector<std::string> ignored;  ///< each line that neither counts nor is a comment, and why
  /// Why a file that is there could not be read, so that it counts as empty: refused, no regular file, larger
  /// than 1 MiB. Or which line is no UTF-8, and counts nevertheless.
  std::string problem;
};

/// The value of `key` in `section` of the file, read anew at each call; `defaultValue`, without its trailing
/// blanks, where the key is not found. Any thread.
[[nodiscard]] std::string IniValue(std::string_view section, std::string_view key,
                                   std::string_view defaultValue, const std::string& filePath);

}  // namespace norvane::platform
