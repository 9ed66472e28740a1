#include <algorithm>
#include <map>

#include "console/engine/EngineError.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "ctl/Screen.h"
#include "platform/Utf8.h"

namespace norvane::ctl {

namespace ce = console::engine;
namespace keys = ce::keys;

namespace {
using Records = std::map<ce::MonitorId, ce::MonitorPtr>;

ce::MonitorSnapshot Watched(const Call& call) {
  auto monitors = call.engine.Snapshot();
  const auto isOther = [&](const ce::MonitorPtr& monitor) {
    return std::ranges::none_of(call.operands, [&](const std::string& name) {
      return name == monitor->name || ce::MatchesPattern(name, monitor->name) ||
             ce::MatchesPattern(name, ce::ShortName(monitor->name));
    });
  };
  if (!call.operands.empty()) std::erase_if(monitors, isOther);
  return monitors;
}

// Lines

/// "Added", "Removed", or the key of the attribute that changed, with its new value.
void Print(const Call& call, const std::string& name, const std::string& key, const std::string& value) {
  const auto now = TimeText(std::chrono::system_clock::now());
  PrintLine(call.IsJson() ? Json(Fields{{"Time", now}, {"Name", name}, {"Change", key}, {"Value", value}})
                          : now + " " + Escaped(name) + ": " + Escaped(key) +
                                (value.empty() ? "" : " = " + Escaped(value)));
}

void PrintChanges(const Call& call, const ce::MonitorRecord& before, const ce::MonitorRecord& after) {
  const auto secrets = call.Has("--secrets") ? Secrets::Shown : Secrets::Hidden;
  for (const auto& field : AttributesOf(after, Secrets::Shown)) {
    if (before.Get(field.name) != field.text)
      Print(call, after.name, field.name, Shown(field.name, field.text, secrets));
  }
}

void PrintDifference(const Call& call, const Records& before, const Records& after) {
  for (const auto& [id, monitor] : before) {
    if (!after.contains(id)) Print(call, monitor->name, "Removed", "");
  }
  for (const auto& [id, monitor] : after) {
    const auto old = before.find(id);
    if (old == before.end()) {
      Print(call, monitor->name, "Added", "");
    } else if (old->second != monitor) {
      PrintChanges(call, *old->second, *monitor);
    }
  }
}

[[noreturn]] void WatchLines(const Call& call) {
  Records before;
  std::uint64_t seen = 0;
  for (bool first = true;; first = false) {
    seen = call.engine.WaitForUpdate(seen, std::chrono::minutes(1));
    Records after;
    for (const auto& monitor : Watched(call))
      after.emplace(monitor->id, monitor);
    if (!first) PrintDifference(call, before, after);
    before = std::move(after);
  }
}

// A screen

constexpr std::chrono::milliseconds TimeBetweenKeys{200};

/// Those that fail first, stopped ones last, else in the engine's order.
void SortByState(ce::MonitorSnapshot& monitors) {
  const auto rank = [](const ce::MonitorPtr& monitor) {
    const auto style = StyleOf(*monitor);
    return style == Style::Bad ? 0 : style == Style::Plain ? 1 : 2;
  };
  std::ranges::stable_sort(monitors, {}, rank);
}

Fields RowOf(const ce::MonitorRecord& monitor) {
  const auto result = monitor.Get(keys::Result);
  return {{"Name", monitor.name},
          {"State", StyleOf(monitor) == Style::Faint ? "stopped"
                    : result.empty()                 ? "not checked"
                                                     : std::string(result)},
          {"Since", result.empty() ? "" : TimeText(monitor.since)},
          {"Last check", TimeText(monitor.checkedAt)}};
}

std::string Counts(const ce::MonitorSnapshot& monitors) {
  const auto count = [&](Style style) {
    return std::to_string(
        std::ranges::count_if(monitors, [&](const ce::MonitorPtr& each) { return StyleOf(*each) == style; }));
  };
  return std::to_string(monitors.size()) + " monitors, " + count(Style::Bad) + " failing, " +
         count(Style::Faint) + " stopped";
}

void Draw(ce::MonitorSnapshot monitors, Screen::Size size) {
  SortByState(monitors);
  std::vector<std::string> lines = {Counts(monitors) + " (q ends)", ""};
  const std::size_t room =
      size.rows > 4 ? size.rows - 4 : 0;  // for rows: two lines above, heading, the rest's count
  std::vector<Fields> rows;
  for (std::size_t i = 0; i < std::min(room, monitors.size()); ++i)
    rows.push_back(RowOf(*monitors[i]));
  for (const auto& line : TableLines(rows))
    lines.push_back(line);
  if (monitors.size() > room) lines.push_back("and " + std::to_string(monitors.size() - room) + " more");
  lines.resize(std::min(lines.size(), size.rows));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const auto fitting = std::string(platform::FittingColumns(lines[i], size.columns));
    const bool isRow = i >= 3 && i < 3 + rows.size();
    lines[i] = Styled(fitting, isRow ? StyleOf(*monitors[i - 3]) : Style::Plain);
  }
  Screen::Show(lines);
}

ExitCode WatchScreen(const Call& call) {
  auto monitors = Watched(call);
  const Screen screen;
  std::uint64_t seen = 0;
  auto size = Screen::CurrentSize();
  Draw(monitors, size);
  while (!Screen::IsEndWanted()) {
    const auto now = call.engine.WaitForUpdate(seen, TimeBetweenKeys);
    const auto sizeNow = Screen::CurrentSize();
    if (now == seen && sizeNow == size) continue;
    if (now != seen) monitors = Watched(call);
    seen = now;
    size = sizeNow;
    Draw(monitors, size);
  }
  return Done;
}
}  // namespace

ExitCode Watch(const Call& call) {
  if (!call.operands.empty()) static_cast<void>(call.engine.Select(call.operands));  // refuses wrong names
  if (Screen::IsTerminal() && !call.IsJson()) return WatchScreen(call);
  WatchLines(call);
}

}  // namespace norvane::ctl
