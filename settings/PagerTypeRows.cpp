#include "settings/PagerTypeRows.h"

#include <algorithm>

#include "platform/Utf8.h"

namespace norvane::settings {
namespace {

std::string_view WithoutLastCharacter(std::string_view text) {
  return platform::WholeCharacters(text, text.size() - 1);
}

constexpr std::size_t MaxRows = 1000;
constexpr std::size_t MaxRowSize = 1000;
}  // namespace

std::vector<std::string> PagerTypeRows(std::string_view reply) {
  std::vector<std::string> rows;
  for (auto end = reply.find('\n'); end != 0 && end != std::string_view::npos; end = reply.find('\n')) {
    rows.emplace_back(WithoutLastCharacter(reply.substr(0, end)));
    reply.remove_prefix(end + 1);
  }
  return rows;
}

bool IsUsableList(const std::vector<std::string>& rows) {
  return rows.size() <= MaxRows &&
         std::ranges::all_of(rows, [](const auto& row) { return row.size() <= MaxRowSize; });
}

std::string_view PagerTypeName(std::string_view row) {
  const auto sign = row.find('=');
  return sign == std::string_view::npos ? row : row.substr(sign + 1);
}

bool HasMessageOnPage(std::string_view name) {
  return !name.empty() && HasMessageInWizard(name);
}

bool HasMessageInWizard(std::string_view name) {
  return name != "Call by modem";
}

}  // namespace norvane::settings
