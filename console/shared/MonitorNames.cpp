#include "console/shared/MonitorNames.h"

#include <algorithm>
#include <charconv>

#include "settings/Text.h"

namespace norvane::console::shared {

namespace {
constexpr std::string_view Separator = "\\/\\/";
}

MonitorNames::MonitorNames(const std::vector<std::string>& fullNames) : m_count(fullNames.size()) {
  for (const auto& name : fullNames)
    m_joined.append(name).append(Separator);
  m_joined = settings::Lower(m_joined);
}

bool MonitorNames::Exists(std::string_view fullName) const {
  return m_joined.find(settings::Lower(fullName).append(Separator)) != std::string::npos;
}

// One pass over the names finds all numbers: with many monitors a search for each number takes seconds.
int MonitorNames::LowestFreeNumber(std::string_view head) const {
  const auto wanted = settings::Lower(head);
  const std::string_view joined = m_joined;
  std::vector<bool> used(m_count + 2);
  for (auto at = joined.find(wanted); at != std::string_view::npos; at = joined.find(wanted, at + 1)) {
    const auto tail = joined.substr(at + wanted.size());
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(tail.data(), tail.data() + tail.size(), number);
    const bool isDecimalText = error == std::errc() && tail.front() != '0';
    const auto rest = tail.substr(static_cast<std::size_t>(end - tail.data()));
    if (isDecimalText && rest.starts_with(Separator) && number < used.size()) used[number] = true;
  }
  return static_cast<int>(std::find(used.begin() + 1, used.end(), false) - used.begin());
}

}  // namespace norvane::console::shared
