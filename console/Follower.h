#pragma once

#include <QObject>
#include <QTimer>
#include <atomic>

#include "console/engine/MonitorRecord.h"

class QTreeView;

namespace norvane::console {

namespace shared {
class MainBas;
}
class TreeModel;

/// Lets the tree follow what other programs do to the monitors. The link says that something has changed, and
/// has a copy of all monitors: no engine object is called.
class Follower : public QObject {
  Q_OBJECT

 public:
  Follower(shared::MainBas& bas, TreeModel& tree, QObject* parent);
  ~Follower() override;

  /// Follows from here on, and first whatever has changed since the tree was filled. In `view`, the tree's,
  /// the root is selected when the selected node goes.
  void Begin(QTreeView& view);
  /// Follows what has changed so far. Without an engine nothing happens.
  void Follow();

 signals:
  /// At most once a second, and never while a call of the engine is under way.
  void Followed();

 private:
  void OnUpdate();
  void Synchronise(const engine::MonitorSnapshot& monitors);

  shared::MainBas& m_bas;
  TreeModel& m_tree;
  QTreeView* m_view = nullptr;  ///< from `Begin` on
  engine::MonitorSnapshot m_seen;
  bool m_treeChanged = true;  ///< its rows, since the last look
  std::atomic<bool> m_due = false;
  QTimer m_timer;
};

}  // namespace norvane::console
