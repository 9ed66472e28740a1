#include <map>

#include "console/engine/EngineError.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"

namespace norvane::ctl {

namespace ce = console::engine;
namespace keys = ce::keys;

namespace {
using Records = std::map<ce::MonitorId, ce::MonitorPtr>;

/// "Added", "Removed", or the key of the attribute that changed, with its new value.
void Print(const Call& call, const std::string& name, const std::string& key, const std::string& value) {
  const auto now = TimeText(std::chrono::system_clock::now());
  const std::string shown = key == keys::PopPass && !value.empty() ? "(hidden)" : value;
  PrintLine(call.arguments.json
                ? Json(Fields{{"Time", now}, {"Name", name}, {"Change", key}, {"Value", shown}})
                : now + " " + Escaped(name) + ": " + Escaped(key) +
                      (shown.empty() ? "" : " = " + Escaped(shown)));
}

void PrintChanges(const Call& call, const ce::MonitorRecord& before, const ce::MonitorRecord& after) {
  for (const auto& field : AttributesOf(after)) {
    if (before.Get(field.name) != field.text) Print(call, after.name, field.name, field.text);
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
}  // namespace

ExitCode Watch(const Call& call) {
  Records before;
  std::uint64_t seen = 0;
  for (bool first = true;; first = false) {
    seen = call.engine.WaitForUpdate(seen, std::chrono::minutes(1));
    Records after;
    for (const auto& monitor : call.engine.Snapshot())
      after.emplace(monitor->id, monitor);
    if (!first) PrintDifference(call, before, after);
    before = std::move(after);
  }
}

}  // namespace norvane::ctl
