#include "text/MonitorText.h"

#include <algorithm>
#include <array>

#include "platform/Ascii.h"
#include "platform/Base64.h"
#include "platform/Utf8.h"
#include "text/ShortNames.h"

namespace norvane::text {

namespace ce = console::engine;
using Style = MonitorLine::Style;

namespace {

constexpr std::string_view Heading = "# Monitors of Norvane. What this file may hold: man norvane-monitors\n";
constexpr std::size_t LongestKey = 500;  // YAML has a limit for those before a colon

/// Whether a reader of YAML gets these characters as they are. Those without a shape would be lost on a
/// person.
bool IsShown(char32_t code) {
  constexpr std::array<char32_t, 4> special = {0xa0, 0x2028, 0x2029, 0xfeff};
  return !platform::IsInvisible(code) && (code & 0xfffe) != 0xfffe &&
         std::ranges::find(special, code) == special.end();
}

/// Whether YAML, or a person, could take the text without quotation marks for something else.
bool NeedsQuotes(std::string_view text) {
  constexpr std::array<std::string_view, 9> words = {"y",     "n",  "yes", "no",  "true",
                                                     "false", "on", "off", "null"};
  constexpr std::string_view marks = "/._-+@%=?&;,~()*#:!$ ";
  if (text.empty() || text.back() == ' ' || text.back() == ':') return true;
  if (!platform::IsAsciiAlnum(text[0]) && text[0] != '/' && platform::BeginsCharacter(text[0]) &&
      static_cast<unsigned char>(text[0]) < 0x80)
    return true;
  if (platform::IsAsciiDigit(text[0])) return true;
  if (std::ranges::any_of(words, [&](auto word) {
        return word.size() == text.size() && platform::EqualsIgnoringCase(word, text);
      }))
    return true;
  if (text.find(": ") != std::string_view::npos || text.find(" #") != std::string_view::npos) return true;
  while (!text.empty()) {
    const auto [code, size] = platform::FirstCharacter(text);
    const bool isPlain =
        code < 0x80 ? platform::IsAsciiAlnum(text[0]) || marks.find(text[0]) != marks.npos : IsShown(code);
    if (!isPlain) return true;
    text.remove_prefix(size);
  }
  return false;
}

void AppendEscaped(std::string& to, char32_t code) {
  const int bytes = code < 0x100 ? 1 : code < 0x10000 ? 2 : 4;
  to += bytes == 1 ? "\\x" : bytes == 2 ? "\\u" : "\\U";
  for (int i = bytes; i-- > 0;)
    to += platform::HexText(static_cast<unsigned char>(code >> (8 * i)));
}

std::string InQuotes(std::string_view text) {
  std::string quoted = "\"";
  while (!text.empty()) {
    const auto [code, size] = platform::FirstCharacter(text);
    if (code == '"' || code == '\\')
      quoted.append("\\") += text[0];
    else if (code == '\n')
      quoted += "\\n";
    else if (code == '\t')
      quoted += "\\t";
    else if (IsShown(code))
      quoted += text.substr(0, size);
    else
      AppendEscaped(quoted, code);
    text.remove_prefix(size);
  }
  return quoted + '"';
}

/// Whether a file would take it for something else than an attribute's key.
bool IsTaken(std::string_view key) {
  return key == "use" || std::ranges::any_of(ShortNames, [&](const ShortName& row) {
           return row.group.empty() ? row.name == key : row.group == key;
         });
}

/// A key at this depth, with its colon.
std::string KeyText(std::string_view key, const std::string& indent, Style style = Style::Text) {
  const auto text = ScalarText(key, platform::IsValidUtf8(key) ? style : Style::Bytes);
  if (text.size() <= LongestKey) return indent + text + ":";
  return indent + "? " + text + "\n" + indent + ":";
}

void Append(std::string& to, const ce::MonitorRecord& monitor, const std::string& folder, Secrets secrets) {
  to += KeyText(monitor.name, "  ") + "\n";
  std::string group;
  for (const auto& line : LinesOf(monitor.TypeName(), ValuesOf(monitor), folder)) {
    if (line.isSecret && secrets == Secrets::Hidden) {
      to += "    # " + line.name + ": not shown\n";
      continue;
    }
    if (line.group != group && !line.group.empty()) to += KeyText(line.group, "    ") + "\n";
    group = line.group;
    const bool isRaw = line.style == Style::Raw && IsTaken(line.name);
    to += KeyText(line.name, group.empty() ? "    " : "      ", isRaw ? Style::Raw : Style::Text) + " " +
          ScalarText(line.value, line.style) + "\n";
  }
}

}  // namespace

std::string ScalarText(std::string_view value, Style style) {
  switch (style) {
    case Style::Plain:
      return std::string(value);
    case Style::Raw:
      return "!raw " + InQuotes(value);
    case Style::Bytes:
      return "!!binary \"" + platform::EncodeBase64(value) + '"';
    default:
      return NeedsQuotes(value) ? InQuotes(value) : std::string(value);
  }
}

std::string TextOf(const ce::MonitorSnapshot& monitors, const std::string& folder, Secrets secrets) {
  std::string text(Heading);
  text += monitors.empty() ? "monitors: {}\n" : "monitors:\n";
  for (const auto& monitor : monitors)
    Append(text, *monitor, folder, secrets);
  return text;
}

}  // namespace norvane::text
