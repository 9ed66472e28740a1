#include "engine/checks/SuccessFlag.h"

#include <algorithm>
#include <cstdint>

#include "engine/net/Reason.h"
#include "platform/Ascii.h"
#include "platform/Number.h"
#include "platform/PageText.h"

namespace norvane::engine {

namespace {

using Charset = platform::LegacyCharset;

std::string NumberFailure(const char* what, std::uint32_t found, std::string_view expected) {
  const auto number = platform::ParseNumber(expected);
  const auto shown = PlainText(expected, 40);
  if (!number) return "the success flag's " + std::string(what) + " \"" + shown + "\" is not a number";
  if (*number == found) return {};
  return std::string(what) + " " + std::to_string(found) + ", expected " + shown;
}

std::string SizeFailure(const Page& page, std::string_view expected, const Charset& charset) {
  return NumberFailure("size", charset.SizeOf(platform::DecodePage(page.body, page.contentType)), expected);
}

std::string StringFailure(const Page& page, std::string_view expected, const Charset&) {
  const auto text = platform::DecodePage(page.body, page.contentType);
  return text.find(expected) != std::string::npos ? "" : "string not found in the page";
}

std::string SumFailure(const Page& page, std::string_view expected, const Charset&) {
  return NumberFailure("sum", platform::ByteSum(page.body), expected);
}

struct Judge {
  std::string_view prefix;
  std::string (*failure)(const Page&, std::string_view expected, const Charset&);
};
constexpr Judge Judges[] = {{"SIZE:", &SizeFailure}, {"STR:", &StringFailure}, {"SUM:", &SumFailure}};

/// The judge of a flag that has a parameter; null if reaching the page is enough.
const Judge* JudgeOf(std::string_view flag) {
  const auto* judge = std::find_if(std::begin(Judges), std::end(Judges), [&](const Judge& row) {
    return platform::StartsWithAnyCase(flag, row.prefix);
  });
  return judge != std::end(Judges) && flag.size() > judge->prefix.size() ? judge : nullptr;
}

}  // namespace

bool JudgesContent(std::string_view flag) {
  return JudgeOf(flag) != nullptr;
}

std::string PageFailure(std::string_view flag, const Page& page, const Charset& charset) {
  const auto* judge = JudgeOf(flag);
  return judge == nullptr ? "" : judge->failure(page, flag.substr(judge->prefix.size()), charset);
}

}  // namespace norvane::engine
