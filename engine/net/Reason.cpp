#include "engine/net/Reason.h"

#include "platform/Number.h"
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

std::string WithoutPassword(std::string_view target) {
  const auto scheme = target.find("://");
  const auto begin = scheme == std::string_view::npos ? 0 : scheme + 3;
  const auto authority = target.substr(begin, target.substr(begin).find_first_of("/?#\\"));
  const auto at = authority.rfind('@');
  const auto host = at == std::string_view::npos ? begin : begin + at + 1;
  return std::string(target.substr(0, begin)).append(target.substr(host));
}

std::string NoAnswerWithin(std::chrono::milliseconds timeout, std::string_view step) {
  return "no answer within " + platform::FormatNumber(static_cast<double>(timeout.count()) / 1000) + " s (" +
         std::string(step) + ")";
}

}  // namespace norvane::engine
