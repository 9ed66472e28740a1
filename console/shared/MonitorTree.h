#pragma once

#include <string>
#include <vector>

namespace norvane::console::shared {

/// A node of the tree: the root, or below it a monitor.
struct TreeNode {
  std::string name = {};  ///< its text; the full name of a monitor
  std::string type = {};  ///< the monitor's type name; empty for the root
  bool stopped = false;   ///< when the console last looked or wrote

  /// The key of its image.
  [[nodiscard]] std::string Image() const {
    return type.empty() ? "global" : stopped ? type + "_Stop" : type;
  }
};

/// The monitors' tree of the main window, as pages and wizards may use it.
class MonitorTree {
 public:
  virtual ~MonitorTree() = default;

  /// The texts of all monitor nodes, from the first to the last.
  [[nodiscard]] virtual std::vector<std::string> MonitorTexts() const = 0;
  /// Throws EngineError, with the reason, if there is no root, since connecting to the engine failed.
  virtual void RequireRoot() const = 0;
  /// Adds a monitor's node at the end, without selecting it. The address holds until the node is removed.
  virtual const TreeNode& AddMonitorNode(TreeNode node) = 0;
  /// Marks a node as selected; this is no click.
  virtual void SelectNode(const TreeNode& node) = 0;
  /// The console's one refresh: shows the node as after a user's click, so that a monitor becomes
  /// `CurrentMonitor` and its page reads it anew. Ends in a message, and not in an exception, if the monitor
  /// can't be resolved; throws EngineError if it goes away later.
  virtual void TvCtrl_NodeClick(const TreeNode& node) = 0;
};

}  // namespace norvane::console::shared
