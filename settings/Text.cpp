#include "settings/Text.h"

#include <unicase.h>
#include <unistr.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "platform/Ascii.h"
#include "platform/Utf8.h"

namespace norvane::settings {
namespace {

std::string Mapped(std::string_view text, ucs4_t (*map)(ucs4_t), char (*mapAscii)(char)) {
  std::string mapped;
  mapped.reserve(text.size());
  while (!text.empty()) {
    // Most text is all ASCII, and the names of all monitors are a lot of it.
    const auto ascii = platform::AsciiPrefix(text);
    std::transform(text.begin(), text.begin() + ascii, std::back_inserter(mapped), mapAscii);
    text.remove_prefix(ascii);
    if (text.empty()) break;
    const auto character = platform::FirstCharacter(text);
    std::uint8_t bytes[4] = {static_cast<std::uint8_t>(text.front())};
    const int size = character.size == 0 ? 1 : u8_uctomb(bytes, map(character.code), sizeof bytes);
    mapped.append(bytes, bytes + size);
    text.remove_prefix(std::max<std::size_t>(character.size, 1));
  }
  return mapped;
}

}  // namespace

std::size_t Position(std::string_view text, std::string_view what) {
  const auto found = text.find(what);
  return found == std::string_view::npos ? 0 : platform::CountCharacters(text.substr(0, found)) + 1;
}

std::string Upper(std::string_view text) {
  return Mapped(text, &uc_toupper, &platform::AsciiUpper);
}

std::string Lower(std::string_view text) {
  return Mapped(text, &uc_tolower, &platform::AsciiLower);
}

}  // namespace norvane::settings
