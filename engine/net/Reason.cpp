#include "engine/net/Reason.h"

#include <algorithm>

#include "formats/Number.h"
#include "platform/Utf8.h"

namespace norvane::engine {

std::string PlainText(std::string_view text, std::size_t maxSize) {
  const auto mayBeMasked = [](char c) { return c < ' ' || c > '~'; };
  const auto begin = static_cast<std::size_t>(std::ranges::find_if(text, mayBeMasked) - text.begin());
  std::string plain(text.substr(0, begin));  // most texts as a whole
  text.remove_prefix(begin);
  while (!text.empty() && plain.size() <= maxSize) {
    const auto [code, size] = platform::FirstCharacter(text);
    plain += size == 0 || platform::IsInvisible(code) ? "?" : text.substr(0, size);
    text.remove_prefix(std::max<std::size_t>(size, 1));
  }
  if (plain.size() <= maxSize) return plain;
  const auto ellipsis = std::string_view("...").substr(0, maxSize);
  plain.resize(platform::WholeCharacters(plain, maxSize - ellipsis.size()).size());
  return plain.append(ellipsis);
}

std::string SecondsText(std::chrono::milliseconds time) {
  return formats::FormatNumber(static_cast<double>(time.count()) / 1000) + " s";
}

std::string NoAnswerWithin(std::chrono::milliseconds timeout, std::string_view step) {
  return "no answer within " + SecondsText(timeout) + " (" + std::string(step) + ")";
}

}  // namespace norvane::engine
