#pragma once

#include <string>

#include "console/shared/MonitorTree.h"

namespace norvane::console {

namespace shared {
class MainBas;
}
class Follower;
class TreeModel;

/// What users do to a monitor by the window's menus, at the engine. What fails ends in a box.
class MonitorCommands {
 public:
  MonitorCommands(shared::MainBas& bas, TreeModel& tree, Follower& follower);

  /// Points `CurrentRef` to the node's monitor. False, after a box, if the engine can't be asked for it;
  /// without one if it was removed.
  [[nodiscard]] bool Resolve(const shared::TreeNode& node);
  /// Stops or starts it; the node shows that. False if the engine did not.
  [[nodiscard]] bool SetStopped(const shared::TreeNode& node, bool stopped);
  /// Removes the monitor from the engine, after a question; its node stays. False if it was not removed, or
  /// was by another program.
  [[nodiscard]] bool Delete(const std::string& fullName);

 private:
  [[nodiscard]] bool WriteStatus(const shared::TreeNode& node, bool stopped);

  shared::MainBas& m_bas;
  TreeModel& m_tree;
  Follower& m_follower;
};

}  // namespace norvane::console
