#include "text/Nearest.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "platform/Ascii.h"
#include "platform/Utf8.h"

namespace norvane::text {

namespace {

constexpr std::size_t LongestWord = 64;  // beyond, nobody mistypes a name
constexpr std::size_t ShownBytes = 60;

/// How many letters are wrong, missing or too many, or swapped with their neighbour.
std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> beforeLast, last(b.size() + 1), row(b.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
    beforeLast = std::move(last);
    last = row;
  }
  return last.back();
}

}  // namespace

std::string_view Nearest(std::string_view word, std::span<const std::string_view> candidates) {
  if (word.size() > LongestWord) return {};
  const auto sought = platform::AsciiUpper(word);
  std::string_view nearest;
  auto least = std::max<std::size_t>(1, word.size() / 3) + 1;
  for (const auto candidate : candidates) {
    if (candidate.size() > word.size() + least || word.size() > candidate.size() + least) continue;
    const auto distance = EditDistance(sought, platform::AsciiUpper(candidate));
    if (distance >= least) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

std::string DidYouMean(std::string_view nearest) {
  return nearest.empty() ? std::string() : "; did you mean " + Quoted(nearest) + "?";
}

std::string Quoted(std::string_view value) {
  std::string text = "\"";
  while (!value.empty()) {
    const auto [code, size] = platform::FirstCharacter(value);
    const auto bytes = value.substr(0, std::max<std::size_t>(size, 1));
    value.remove_prefix(bytes.size());
    if (size != 0 && !platform::IsInvisible(code)) {
      text += bytes;
    } else {
      for (const char byte : bytes)
        text += "\\x" + platform::HexText(static_cast<unsigned char>(byte));
    }
    if (text.size() > ShownBytes && !value.empty()) return text + "...\"";
  }
  return text + '"';
}

}  // namespace norvane::text
