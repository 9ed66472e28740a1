#include "link/ChangeLog.h"

#include "console/engine/MonitorKeys.h"
#include "platform/Utf8.h"

namespace norvane::link {

namespace ce = console::engine;
using What = ce::MonitorChange::What;

namespace {
constexpr std::size_t ShownBytes = 200;  // of a value

std::string Quote(std::string_view text) {
  const auto shown = platform::WholeCharacters(text, ShownBytes);
  return '"' + std::string(shown) + (shown.size() < text.size() ? "..." : "") + '"';
}

std::string Shown(std::string_view key, std::string_view value) {
  return ce::IsSecret(key) && !value.empty() ? "(hidden)" : Quote(value);
}

/// Empty if nothing changes.
std::string Difference(std::string_view key, std::string_view before, std::string_view after) {
  if (before == after || key == ce::keys::Result) return {};
  return ' ' + std::string(key) + ": " + Shown(key, before) + " -> " + Shown(key, after);
}

std::string Differences(const ce::MonitorChange& change, const engine::Monitor* monitor) {
  std::string text;
  for (const auto& [key, value] : change.values) {
    const auto difference = Difference(key, monitor ? monitor->attributes->Get(key) : "", value);
    if (!difference.empty()) text += (text.empty() ? "" : ",") + difference;
  }
  return text;
}
}  // namespace

void ChangeLog::Write(std::string_view verb, std::string_view name) const {
  m_service.LogChange(m_who + ": " + std::string(verb) + (name.empty() ? "" : ' ' + Quote(name)));
}

void ChangeLog::Write(std::string_view verb, const std::vector<std::string>& names) const {
  for (const auto& name : names)
    Write(verb, name);
  if (names.empty()) Write(verb, "all");
}

void ChangeLog::WriteSet(std::string_view name, std::string_view key, std::string_view before,
                         std::string_view after) const {
  const auto difference = Difference(key, before, after);
  if (!difference.empty()) m_service.LogChange(m_who + ": set " + Quote(name) + difference);
}

std::vector<std::string> ChangeLog::Describe(const std::vector<ce::MonitorChange>& changes) const {
  std::vector<std::string> lines;
  for (const auto& change : changes) {
    const auto* monitor = m_service.Table().Find(change.name);
    const auto differences = Differences(change, monitor);
    if (change.what == What::Set && differences.empty()) continue;
    const char* verb = change.what == What::Add ? "add " : change.what == What::Remove ? "remove " : "set ";
    lines.push_back(m_who + ": " + verb + Quote(change.name) + differences);
  }
  return lines;
}

void ChangeLog::WriteAll(std::vector<std::string> lines) const {
  for (auto& line : lines)
    m_service.LogChange(std::move(line));
}

}  // namespace norvane::link
