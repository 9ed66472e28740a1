#include "settings/Text.h"

#include <unicase.h>
#include <unistr.h>

#include <algorithm>
#include <cstdint>

#include "platform/Utf8.h"

namespace norvane::settings {
namespace {

std::string Mapped(std::string_view text, ucs4_t (*map)(ucs4_t)) {
  std::string mapped;
  mapped.reserve(text.size());
  while (!text.empty()) {
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
  return Mapped(text, &uc_toupper);
}

std::string Lower(std::string_view text) {
  return Mapped(text, &uc_tolower);
}

}  // namespace norvane::settings
