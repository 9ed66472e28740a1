#pragma once

#include <chrono>
#include <memory>

#include "console/engine/EngineStatus.h"

namespace norvane::console {

namespace shared {
class MainBas;
}
class MonitorTips;
class TreeModel;

/// What is wrong with the engine as the tool tip of the tree's root, and which monitors have results that
/// are too old as theirs.
class HealthTips {
 public:
  HealthTips(shared::MainBas& bas, TreeModel& tree, MonitorTips& monitors);

  /// Shows what the engine answered to the question of the last call, and asks again: it never waits.
  void Refresh();

 private:
  void Show(const engine::EngineStatus& status);
  void ShowNoAnswer();

  shared::MainBas& m_bas;
  TreeModel& m_tree;
  MonitorTips& m_monitors;
  std::unique_ptr<engine::StatusQuery> m_query;
  std::chrono::system_clock::time_point m_answeredAt = std::chrono::system_clock::now();
};

}  // namespace norvane::console
