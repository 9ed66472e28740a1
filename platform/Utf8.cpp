#include "platform/Utf8.h"

#include <unictype.h>
#include <uninorm.h>
#include <unistr.h>
#include <uniwidth.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace norvane::platform {
namespace {

std::size_t ValidPrefix(std::string_view bytes) {
  std::size_t valid = 0;
  while (true) {
    valid += AsciiPrefix(bytes.substr(valid));
    if (valid == bytes.size()) return valid;
    const auto size = FirstCharacter(bytes.substr(valid)).size;
    if (size == 0) return valid;
    valid += size;
  }
}

}  // namespace

Utf8Character FirstCharacter(std::string_view text) {
  ucs4_t code = 0;
  const int size = u8_mbtoucr(&code, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  return size > 0 ? Utf8Character{code, static_cast<std::size_t>(size)} : Utf8Character{0xfffd, 0};
}

std::size_t CountCharacters(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), &BeginsCharacter));
}

std::size_t DisplayWidth(std::string_view text) {
  const int width = u8_width(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), "UTF-8");
  return static_cast<std::size_t>(std::max(width, 0));
}

std::string_view FittingColumns(std::string_view text, std::size_t width) {
  std::size_t size = 0, taken = 0;
  while (size < text.size()) {
    const auto character =
        text.substr(size, std::max<std::size_t>(FirstCharacter(text.substr(size)).size, 1));
    taken += DisplayWidth(character);
    if (taken > width) break;
    size += character.size();
  }
  return text.substr(0, size);
}

std::string_view WholeCharacters(std::string_view text, std::size_t maxSize) {
  if (maxSize >= text.size()) return text;
  while (maxSize > 0 && !BeginsCharacter(text[maxSize]))
    --maxSize;
  return text.substr(0, maxSize);
}

bool IsInvisible(char32_t code) {
  // Among the ignorable ones are all marks of direction, those of joining and of variants, soft hyphens and
  // tags.
  constexpr std::uint32_t Separators = UC_CATEGORY_MASK_Zl | UC_CATEGORY_MASK_Zp;
  const bool isAnnotation = code >= 0xfff9 && code <= 0xfffb;
  return IsControl(code) || isAnnotation ||
         (code >= 0xa0 && (uc_is_property_default_ignorable_code_point(code) ||
                           uc_is_general_category_withtable(code, Separators)));
}

std::size_t AsciiPrefix(std::string_view text) {
  std::size_t i = 0;
  for (std::array<std::uint64_t, 4> block; i + sizeof block <= text.size(); i += sizeof block) {
    std::memcpy(block.data(), text.data() + i, sizeof block);
    if ((block[0] | block[1] | block[2] | block[3]) & 0x8080808080808080u) break;
  }
  while (i < text.size() && static_cast<signed char>(text[i]) >= 0)
    ++i;
  return i;
}

bool IsValidUtf8(std::string_view bytes) {
  return ValidPrefix(bytes) == bytes.size();
}

std::string ValidUtf8(std::string_view bytes) {
  std::size_t valid = ValidPrefix(bytes);
  std::string text(bytes.substr(0, valid));
  while (valid < bytes.size()) {
    text += ReplacementUtf8;
    bytes.remove_prefix(valid + 1);
    valid = ValidPrefix(bytes);
    text += bytes.substr(0, valid);
  }
  return text;
}

std::string CompatibilityForm(std::string_view text) {
  std::size_t size = 0;
  const std::unique_ptr<std::uint8_t, decltype(&std::free)> form(
      u8_normalize(UNINORM_NFKC, reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), nullptr,
                   &size),
      &std::free);
  if (form == nullptr) throw std::bad_alloc();
  return {reinterpret_cast<const char*>(form.get()), size};
}

}  // namespace norvane::platform
