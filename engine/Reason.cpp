#include "engine/Reason.h"

#include "platform/Utf8.h"

namespace norvane::engine {

namespace {

bool IsControl(char32_t code) {
  return code < 0x20 || (code >= 0x7f && code < 0xa0);
}

}  // namespace

std::string PlainText(std::string_view text, std::size_t maxSize) {
  constexpr std::string_view cutMark = "...";
  std::string plain;
  std::size_t cutAt = 0;  // how much stays when the mark must follow
  while (!text.empty()) {
    const auto [code, size] = platform::FirstCharacter(text);
    const auto shown = size == 0 || IsControl(code) ? "?" : text.substr(0, size);
    if (plain.size() + shown.size() > maxSize) {
      plain.resize(cutAt);
      return plain.append(cutMark.substr(0, maxSize));
    }
    plain += shown;
    if (plain.size() + cutMark.size() <= maxSize) cutAt = plain.size();
    text.remove_prefix(size == 0 ? 1 : size);
  }
  return plain;
}

}  // namespace norvane::engine
