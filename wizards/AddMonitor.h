#pragma once

#include "console/shared/MonitorTree.h"

namespace norvane::console::shared {
class MainBas;
}

namespace norvane::wizards {

/// Adds the monitor of that node to the engine and the node to the tree, selected. Throws EngineError, and
/// then there is neither; but after a time-out the tree follows what the engine does.
const console::shared::TreeNode& AddMonitor(console::shared::MainBas& bas, console::shared::TreeNode node);

}  // namespace norvane::wizards
