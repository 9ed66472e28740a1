#include "console/engine/MonitorNames.h"

#include <unordered_set>

#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"

namespace norvane::console::engine {

namespace {

class Selection {
 public:
  explicit Selection(const MonitorNames& table) : m_table(table) {}

  void Add(const std::string& name) {
    if (const auto id = m_table.Find(name)) return Put(*id, name);
    const auto called = CalledShortly(name);
    if (called.size() == 1) return Put(called.front().id, called.front().name);
    if (!called.empty()) throw EngineError(EngineErrorCode::Invalid, Ambiguous(name, called));
    const bool isPattern = name.find_first_of("*?") != std::string::npos;
    if (!isPattern) throw EngineError(EngineErrorCode::NotFound, "no such monitor: " + name);
    if (!AddMatching(name)) throw EngineError(EngineErrorCode::NotFound, "no monitor matches " + name);
  }
  bool AddMatching(const std::string& pattern) {
    bool any = false;
    m_table.ForEach([&](MonitorId id, std::string_view name) {
      if (!MatchesPattern(pattern, name) && !MatchesPattern(pattern, ShortName(name))) return;
      any = true;
      Put(id, name);
    });
    return any;
  }
  std::vector<NamedMonitor> Result() && { return std::move(m_selected); }

 private:
  void Put(MonitorId id, std::string_view name) {
    if (m_ids.insert(id).second) m_selected.push_back({id, std::string(name)});
  }
  std::vector<NamedMonitor> CalledShortly(std::string_view shortName) const {
    std::vector<NamedMonitor> called;
    for (const auto type : m_table.Types()) {
      auto name = std::string(type).append(NameSeparator).append(shortName);
      if (const auto id = m_table.Find(name)) called.push_back({*id, std::move(name)});
    }
    return called;
  }
  static std::string Ambiguous(const std::string& name, const std::vector<NamedMonitor>& called) {
    std::string text = name + " is the name of several monitors:";
    for (const auto& monitor : called)
      text += (&monitor == &called.front() ? " " : ", ") + monitor.name;
    return text;
  }

  const MonitorNames& m_table;
  std::vector<NamedMonitor> m_selected;
  std::unordered_set<MonitorId> m_ids;
};

/// Of the character at the start of `text`, which is not empty.
std::size_t SizeOfFirst(std::string_view text) {
  std::size_t size = 1;
  while (size < text.size() && (static_cast<unsigned char>(text[size]) & 0xc0) == 0x80)
    ++size;
  return size;
}
}  // namespace

std::string_view ShortName(std::string_view fullName) {
  const auto separator = fullName.find(NameSeparator);
  return separator == std::string_view::npos ? fullName : fullName.substr(separator + NameSeparator.size());
}

bool MatchesPattern(std::string_view pattern, std::string_view text) {
  std::size_t at = 0, star = std::string_view::npos;
  std::string_view afterStar;  // what of the text is left to match again, one character further
  while (!text.empty()) {
    if (at < pattern.size() && pattern[at] == '*') {
      star = at++;
      afterStar = text;
    } else if (at < pattern.size() && (pattern[at] == '?' || pattern[at] == text.front())) {
      text.remove_prefix(pattern[at] == '?' ? SizeOfFirst(text) : 1);
      ++at;
    } else if (star != std::string_view::npos) {
      afterStar.remove_prefix(SizeOfFirst(afterStar));
      text = afterStar;
      at = star + 1;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

std::vector<NamedMonitor> SelectMonitors(const MonitorNames& table, const std::vector<std::string>& names) {
  Selection selection(table);
  for (const auto& name : names)
    selection.Add(name);
  if (names.empty()) selection.AddMatching("*");
  return std::move(selection).Result();
}

}  // namespace norvane::console::engine
