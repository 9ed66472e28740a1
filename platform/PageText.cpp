#include "platform/PageText.h"

#include <algorithm>
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

constexpr std::size_t PieceSize = 64 << 10;

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

using Receive = std::function<void(std::string_view)>;

/// Cuts a piece off the start of `body` that ends in front of a byte by which a character may begin, so that
/// the pieces decode to what the whole would. Only rubbish has no such byte among four.
std::string_view CutPiece(std::string_view& body) {
  auto size = std::min(body.size(), PieceSize);
  for (int back = 0; back < 4 && size < body.size() && !BeginsCharacter(body[size]); ++back)
    --size;
  const auto piece = body.substr(0, size);
  body.remove_prefix(size);
  return piece;
}

template <class Decode>
void DecodePieces(std::string_view body, const Receive& receive, Decode decode) {
  while (!body.empty())
    receive(decode(CutPiece(body)));
}

void Convert(std::string_view body, CharsetConverter& converter, const Receive& receive) {
  using Stop = CharsetConverter::Stop;
  for (int faults = 0; !body.empty();) {
    auto piece = body.substr(0, PieceSize);
    const bool isLast = piece.size() == body.size();
    std::string text;
    const auto stop = converter.Convert(piece, text);
    const auto rest = piece.size();
    body.remove_prefix(std::min(body.size(), PieceSize) - rest);
    const bool isCut = stop == Stop::Incomplete && !isLast && rest < PieceSize;
    const bool isFault = stop != Stop::End && !isCut;
    if (isFault && faults++ < MaxFaults) {
      text += ReplacementUtf8;
      body.remove_prefix(std::min<std::size_t>(body.size(), 1));  // some sets find fault with the end itself
    }
    receive(ValidUtf8(text));  // iconv lets a few codes through that UTF-8 excludes
    if (faults > MaxFaults) return DecodePieces(body, receive, &ValidUtf8);
  }
  std::string text;
  converter.Finish(text);
  receive(ValidUtf8(text));
}

}  // namespace

void DecodePage(std::string_view body, std::string_view contentType, const Receive& receive) {
  const std::string charset = CharsetOf(contentType);
  if (charset.empty() || charset == "UTF-8" || charset == "UTF8")
    return DecodePieces(body, receive, &ValidUtf8);
  if (const auto* meanings = SingleByteCharset(charset))
    return DecodePieces(body, receive, [&](auto piece) { return DecodeSingleByte(piece, *meanings); });
  if (auto converter = CharsetConverter::Open("UTF-8", charset)) return Convert(body, *converter, receive);
  DecodePieces(body, receive, &ValidUtf8);
}

std::string DecodePage(std::string_view body, std::string_view contentType) {
  std::string text;
  DecodePage(body, contentType, [&](std::string_view piece) { text += piece; });
  return text;
}

std::uint32_t ByteSum(std::string_view bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), std::uint32_t{0},
                         [](std::uint32_t sum, char byte) { return sum + static_cast<unsigned char>(byte); });
}

}  // namespace norvane::platform
