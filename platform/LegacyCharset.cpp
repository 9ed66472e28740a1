#include "platform/LegacyCharset.h"

#include <algorithm>
#include <stdexcept>

#include "platform/Charset.h"
#include "platform/IniFile.h"
#include "platform/Utf8.h"

namespace norvane::platform {
namespace {

constexpr char32_t CodesEnd = 0x30000;  // double-byte sets go no further than the second supplementary plane

// Each character for itself: what a text before it leaves behind must not count.
std::vector<bool> TwoByteCharacters(CharsetConverter converter) {
  std::vector<bool> twoBytes(CodesEnd);
  std::string stored;
  for (char32_t code = 0; code < CodesEnd; ++code) {
    const char bytes[] = {static_cast<char>(code), static_cast<char>(code >> 8),
                          static_cast<char>(code >> 16), 0};
    std::string_view input(bytes, sizeof bytes);
    stored.clear();
    const bool held = converter.Convert(input, stored) == CharsetConverter::Stop::End;
    converter.Finish(stored);
    twoBytes[code] = held && stored.size() == 2;
  }
  if (std::find(twoBytes.begin(), twoBytes.end(), true) == twoBytes.end()) twoBytes.clear();
  return twoBytes;
}

}  // namespace

LegacyCharset::LegacyCharset(const std::string& name) {
  if (SingleByteCharset(name)) return;
  auto converter = CharsetConverter::Open(name, "UTF-32LE");
  if (!converter) throw std::invalid_argument("unknown character set \"" + name + "\"");
  m_twoBytes = TwoByteCharacters(std::move(*converter));
}

LegacyCharset LegacyCharset::FromConfig(const std::string& configFile) {
  try {
    return LegacyCharset(IniValue("text", "charset", DefaultName, configFile));
  } catch (const std::invalid_argument& error) {
    throw std::invalid_argument(configFile + ", section \"text\", key \"charset\": " + error.what());
  }
}

std::uint32_t LegacyCharset::SizeOf(std::string_view text) const {
  auto size = static_cast<std::uint32_t>(CountCharacters(text));
  if (m_twoBytes.empty()) return size;
  while (!text.empty()) {
    const auto character = FirstCharacter(text);
    if (character.code < m_twoBytes.size() && m_twoBytes[character.code]) ++size;
    text.remove_prefix(std::max<std::size_t>(character.size, 1));
  }
  return size;
}

}  // namespace norvane::platform
