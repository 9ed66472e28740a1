#include "platform/PageText.h"

#include <numeric>

#include "platform/Ascii.h"
#include "platform/Blanks.h"
#include "platform/Charset.h"
#include "platform/Utf8.h"

namespace norvane::platform {
namespace {

constexpr std::string_view HttpBlanks = " \t";

/// A page with more isn't in the set that it names, and its rest is decoded as UTF-8: iconv would spend
/// seconds over a large page of nothing but faults.
constexpr int MaxFaults = 4096;

// Cuts the text up to `end` off the start of `rest`, and `end` with it.
std::string_view CutUntil(char end, std::string_view& rest) {
  const auto position = rest.find(end);
  const auto cut = rest.substr(0, position);
  rest.remove_prefix(position == std::string_view::npos ? rest.size() : position + 1);
  return cut;
}

// RFC 9110, 5.6.6 and 8.3.1, in capitals; empty if there is none. A quoted value may hold the separators.
std::string CharsetOf(std::string_view contentType) {
  CutUntil(';', contentType);
  while (!contentType.empty()) {
    auto name = CutUntil('=', contentType);
    name.remove_prefix(name.rfind(';') + 1);  // a parameter without value may precede it
    contentType = Trimmed(contentType, HttpBlanks);
    std::string_view value;
    if (contentType.starts_with('"')) {
      contentType.remove_prefix(1);
      value = CutUntil('"', contentType);
      CutUntil(';', contentType);
    } else {
      value = CutUntil(';', contentType);
    }
    if (EqualsIgnoringCase(Trimmed(name, HttpBlanks), "charset"))
      return AsciiUpper(Trimmed(value, HttpBlanks));
  }
  return {};
}

std::string DecodeSingleByte(std::string_view body, const ByteMeanings& meanings) {
  std::string text;
  text.reserve(body.size());
  while (!body.empty()) {
    const auto ascii = AsciiPrefix(body);
    text += body.substr(0, ascii);
    body.remove_prefix(ascii);
    for (; !body.empty() && static_cast<signed char>(body.front()) < 0; body.remove_prefix(1))
      text += meanings[static_cast<unsigned char>(body.front())];
  }
  return text;
}

std::string Convert(std::string_view body, CharsetConverter& converter) {
  std::string text;
  for (int faults = 0; converter.Convert(body, text) != CharsetConverter::Stop::End; ++faults) {
    if (faults == MaxFaults) return ValidUtf8(text.append(body));
    text += ReplacementUtf8;
    if (body.empty()) break;  // some sets find fault with the end itself
    body.remove_prefix(1);
  }
  converter.Finish(text);
  return ValidUtf8(text);  // iconv lets a few codes through that UTF-8 excludes
}

}  // namespace

std::string DecodePage(std::string_view body, std::string_view contentType) {
  const std::string charset = CharsetOf(contentType);
  if (charset.empty() || charset == "UTF-8" || charset == "UTF8") return ValidUtf8(body);
  if (const auto* meanings = SingleByteCharset(charset)) return DecodeSingleByte(body, *meanings);
  if (auto converter = CharsetConverter::Open("UTF-8", charset)) return Convert(body, *converter);
  return ValidUtf8(body);
}

std::uint32_t ByteSum(std::string_view bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), std::uint32_t{0},
                         [](std::uint32_t sum, char byte) { return sum + static_cast<unsigned char>(byte); });
}

}  // namespace norvane::platform
