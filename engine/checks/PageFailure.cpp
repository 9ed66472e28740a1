#include "engine/checks/PageFailure.h"

#include <cstdint>

#include "engine/net/Reason.h"
#include "formats/Number.h"
#include "formats/SuccessFlag.h"
#include "platform/PageText.h"

namespace norvane::engine {

namespace {

std::string NumberFailure(const char* what, std::uint32_t found, std::string_view expected) {
  const auto number = formats::ParseNumber(expected);
  const auto shown = PlainText(expected, 40);
  if (!number) return "the success flag's " + std::string(what) + " \"" + shown + "\" is not a number";
  if (*number == found) return {};
  return std::string(what) + " " + std::to_string(found) + ", expected " + shown;
}

}  // namespace

bool JudgesContent(std::string_view flag) {
  return !formats::ParseSuccessFlag(flag).parameter.empty();
}

std::string PageFailure(std::string_view flag, const Page& page, const platform::LegacyCharset& charset) {
  using Kind = formats::SuccessFlag::Kind;
  const auto [kind, parameter] = formats::ParseSuccessFlag(flag);
  if (parameter.empty()) return {};
  if (kind == Kind::Sum) return NumberFailure("sum", platform::ByteSum(page.body), parameter);
  const auto text = platform::DecodePage(page.body, page.contentType);
  if (kind == Kind::Size) return NumberFailure("size", charset.SizeOf(text), parameter);
  return text.find(parameter) != std::string::npos ? "" : "string not found in the page";
}

}  // namespace norvane::engine
