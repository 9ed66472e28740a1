#pragma once

#include <string>
#include <vector>

namespace norvane::console::shared {

/// A node of the tree: the root, or below it a monitor, whose text is its full name.
struct TreeNode {
  std::string key;  ///< "g" for the root, "m" and the full name for a monitor
  std::string text;
  std::string image;  ///< key of its image; tells too whether the monitor stood still when last looked at
};

/// What stands behind an image key when the monitor is stopped.
inline constexpr char StopMark[] = "_Stop";

/// The monitors' tree of the main window, as pages and wizards may use it.
class MonitorTree {
 public:
  virtual ~MonitorTree() = default;

  /// The texts of all monitor nodes, from the first to the last.
  [[nodiscard]] virtual std::vector<std::string> MonitorTexts() const = 0;
  /// Adds a monitor's node at the end. It is not selected by this; it stays where it is until it is removed.
  virtual const TreeNode& AddMonitorNode(const std::string& fullName, const std::string& image) = 0;
  /// Marks a node as selected; this is no click.
  virtual void SelectNode(const TreeNode& node) = 0;
  /// The console's one refresh: shows the node as after a user's click, so that a monitor becomes
  /// `CurrentMonitor` and its page reads it anew. Ends in a message, and not in an exception, if the monitor
  /// can't be resolved; throws EngineError if it goes away later.
  virtual void TvCtrl_NodeClick(const TreeNode& node) = 0;
};

}  // namespace norvane::console::shared
