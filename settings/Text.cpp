#include "settings/Text.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "platform/Utf8.h"

namespace norvane::settings {
namespace {

/// Never freed: it lives as long as the process.
locale_t AllLetters() {
  static const locale_t locale = [] {
    const locale_t made = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (made == nullptr) throw std::system_error(errno, std::generic_category(), "locale C.UTF-8");
    return made;
  }();
  return locale;
}

void Append(std::string& text, char32_t code) {
  const auto tail = [&](unsigned shift) { text += static_cast<char>(0x80 | (code >> shift & 0x3f)); };
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += static_cast<char>(0xc0 | code >> 6);
    tail(0);
  } else if (code < 0x10000) {
    text += static_cast<char>(0xe0 | code >> 12);
    tail(6), tail(0);
  } else {
    text += static_cast<char>(0xf0 | code >> 18);
    tail(12), tail(6), tail(0);
  }
}

std::string Mapped(std::string_view text, wint_t (*map)(wint_t, locale_t)) {
  const locale_t locale = AllLetters();
  std::string mapped;
  mapped.reserve(text.size());
  while (!text.empty()) {
    const auto character = platform::FirstCharacter(text);
    if (character.size == 0)
      mapped += text.front();
    else
      Append(mapped, static_cast<char32_t>(map(static_cast<wint_t>(character.code), locale)));
    text.remove_prefix(std::max<std::size_t>(character.size, 1));
  }
  return mapped;
}

}  // namespace

std::size_t Length(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;  // all bytes of a character but its first begin so
  }));
}

std::size_t Position(std::string_view text, std::string_view what) {
  const auto found = text.find(what);
  return found == std::string_view::npos ? 0 : Length(text.substr(0, found)) + 1;
}

std::string Upper(std::string_view text) {
  return Mapped(text, ::towupper_l);
}

std::string Lower(std::string_view text) {
  return Mapped(text, ::towlower_l);
}

}  // namespace norvane::settings
