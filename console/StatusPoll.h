#pragma once

namespace norvane::console {

namespace shared {
class MainBas;
}
class StatusModel;

/// Asks the engine for the state of every row and shows it. A monitor that can't be read has no state. False
/// if a monitor can't be resolved, unless it was removed: that counts as a restarted service. The rows before
/// it are done then.
[[nodiscard]] bool PollRows(shared::MainBas& bas, StatusModel& list);

}  // namespace norvane::console
