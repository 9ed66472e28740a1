#include "engine/checks/PageFailure.h"

#include <algorithm>
#include <cstdint>
#include <string>

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

/// Searches a text that comes in pieces.
class TextSearch {
 public:
  explicit TextSearch(std::string_view sought) : m_sought(sought) {}
  void Continue(std::string_view text) {
    if (m_hasFound) return;
    m_text += text;
    m_hasFound = m_text.find(m_sought) != std::string::npos;
    // What the next piece may complete.
    m_text.erase(0, m_text.size() - std::min(m_text.size(), m_sought.size() - 1));
  }
  [[nodiscard]] bool HasFound() const { return m_hasFound; }

 private:
  std::string_view m_sought;  // not empty
  std::string m_text;
  bool m_hasFound = false;
};

}  // namespace

bool JudgesContent(std::string_view flag) {
  return !formats::ParseSuccessFlag(flag).parameter.empty();
}

std::string PageFailure(std::string_view flag, const Page& page, const platform::LegacyCharset& charset) {
  using Kind = formats::SuccessFlag::Kind;
  const auto [kind, parameter] = formats::ParseSuccessFlag(flag);
  if (parameter.empty()) return {};
  if (kind == Kind::Sum) return NumberFailure("sum", platform::ByteSum(page.body), parameter);
  std::uint32_t size = 0;
  TextSearch search(parameter);
  platform::DecodePage(page.body, page.contentType, [&, isSize = kind == Kind::Size](std::string_view text) {
    if (isSize)
      size += charset.SizeOf(text);
    else
      search.Continue(text);
  });
  if (kind == Kind::Size) return NumberFailure("size", size, parameter);
  return search.HasFound() ? "" : "string not found in the page";
}

}  // namespace norvane::engine
