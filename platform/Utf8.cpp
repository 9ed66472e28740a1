#include "platform/Utf8.h"

#include <cstdint>
#include <cstring>

namespace norvane::platform {
namespace {

constexpr Utf8Character Invalid{0xfffd, 0};

unsigned ByteAt(std::string_view text, std::size_t i) {
  return static_cast<unsigned char>(text[i]);
}

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
  const unsigned lead = ByteAt(text, 0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t size = lead < 0xc0 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : lead < 0xf8 ? 4 : 0;
  if (size == 0 || text.size() < size) return Invalid;

  char32_t code = lead & (0x7fu >> size);
  for (std::size_t i = 1; i < size; ++i) {
    const unsigned next = ByteAt(text, i);
    if ((next & 0xc0) != 0x80) return Invalid;
    code = code << 6 | (next & 0x3f);
  }
  constexpr char32_t Smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xd800 && code <= 0xdfff;
  return code < Smallest[size] || surrogate || code > 0x10ffff ? Invalid : Utf8Character{code, size};
}

std::size_t AsciiPrefix(std::string_view text) {
  std::size_t i = 0;
  for (std::uint64_t eight; i + sizeof eight <= text.size(); i += sizeof eight) {
    std::memcpy(&eight, text.data() + i, sizeof eight);
    if (eight & 0x8080808080808080u) break;
  }
  while (i < text.size() && ByteAt(text, i) < 0x80)
    ++i;
  return i;
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

}  // namespace norvane::platform
