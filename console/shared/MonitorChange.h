#pragma once

#include <functional>
#include <string>

#include "console/engine/MonitorRecord.h"

namespace norvane::console::shared {

class MainBas;

/// Runs `call`, which changes the monitor `fullName`. A time-out doesn't tell whether it took effect: then
/// `isDone(the monitor as it is known now, or null)` decides whether the call counts as done. Throws
/// EngineError if it does not; should it take effect later, the tree follows that as all that others change.
void ChangeMonitor(MainBas& bas, const std::string& fullName, const std::function<void()>& call,
                   const std::function<bool(const engine::MonitorPtr& now)>& isDone);

}  // namespace norvane::console::shared
