#include "tray/OutageWatch.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "platform/TimeText.h"

namespace norvane::tray {

namespace ce = console::engine;

namespace {
constexpr std::size_t MaxLines = 5;

using Monitors = std::unordered_map<std::string_view, const ce::MonitorRecord*>;

Monitors ByName(const ce::MonitorSnapshot& snapshot) {
  Monitors monitors;
  for (const auto& monitor : snapshot)
    monitors.emplace(monitor->name, monitor.get());
  return monitors;
}

std::string Count(std::size_t number, const std::string& noun) {
  return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

/// At most `MaxLines` of them.
std::string Lines(const std::vector<std::string>& lines) {
  std::string text;
  for (std::size_t i = 0; i < std::min(lines.size(), MaxLines); ++i)
    text += (text.empty() ? "" : "\n") + lines[i];
  if (lines.size() > MaxLines) text += "\nand " + std::to_string(lines.size() - MaxLines) + " more";
  return text;
}

std::string ReasonOf(const std::string& name, const Monitors& monitors) {
  const auto found = monitors.find(name);
  return found == monitors.end() ? std::string() : std::string(found->second->Get(ce::keys::Result));
}

std::string ToolTip(const EngineView& view, const Monitors& monitors) {
  if (!view.problem.empty()) return "Norvane: " + view.problem;
  std::vector<std::string> lines;
  for (const auto& outage : view.outages)
    lines.push_back(outage.monitor + ": " + ReasonOf(outage.monitor, monitors) +
                    (outage.isHeld ? " (silenced, or its parent is down)" : ""));
  std::ranges::sort(lines);
  lines.insert(lines.begin(), "Norvane: " + Count(view.outages.size(), "outage") + ", " +
                                  Count(view.monitors.size(), "monitor"));
  return lines.front() + (lines.size() > 1 ? "\n" + Lines({lines.begin() + 1, lines.end()}) : "");
}

/// `events` are of one kind; their titles are "KIND: NAME".
void Append(std::vector<Notice>& notices, const std::string& kind, const std::string& manyKind,
            const std::vector<Notice>& events) {
  if (events.size() <= OutageWatch::MaxNotices) {
    for (const auto& event : events)
      notices.push_back({kind + ": " + event.title, event.text});
    return;
  }
  std::vector<std::string> names;
  for (const auto& event : events)
    names.push_back(event.title);
  notices.push_back({std::to_string(events.size()) + ' ' + manyKind, Lines(names)});
}

/// Else its outage ended because it was stopped or removed.
bool IsRunning(const std::string& name, const Monitors& monitors) {
  const auto found = monitors.find(name);
  return found != monitors.end() && found->second->Get(ce::keys::Status) == ce::StatusEnable;
}
}  // namespace

TrayUpdate OutageWatch::Update(const EngineView& view) {
  const auto monitors = ByName(view.monitors);
  TrayUpdate update{.toolTip = ToolTip(view, monitors)};
  if (!view.problem.empty()) return update;
  update.colour = view.outages.empty() ? Colour::Green : Colour::Red;

  const bool isFirst = !m_notified;
  const Outages before = m_notified ? std::move(*m_notified) : Outages();
  m_notified.emplace();
  Outages open;
  for (const auto& outage : view.outages) {
    open.emplace(outage.monitor, outage);
    if (!outage.isHeld || before.contains(outage.monitor)) m_notified->emplace(outage.monitor, outage);
  }
  if (isFirst) return update;

  std::vector<Notice> begun, ended;
  for (const auto& [name, outage] : *m_notified)
    if (!before.contains(name)) begun.push_back({name, ReasonOf(name, monitors)});
  for (const auto& [name, outage] : before)
    if (!open.contains(name) && IsRunning(name, monitors))
      ended.push_back({name, "failing since " +
                                 platform::FormatTime("%Y-%m-%d %H:%M", platform::LocalTime(outage.since))});
  Append(update.notices, "Outage", "outages", begun);
  Append(update.notices, "Outage over", "outages are over", ended);
  return update;
}

}  // namespace norvane::tray
