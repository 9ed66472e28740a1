#include "console/Follower.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "console/ScrollKeeper.h"
#include "console/TreeModel.h"
#include "console/shared/MainBas.h"

namespace norvane::console {

namespace {
using shared::TreeNode;

constexpr int PauseMilliseconds = 1000;  ///< results come all the time

bool IsStopped(const engine::MonitorRecord& monitor) {
  return monitor.Get(engine::keys::Status) == engine::StatusDisable;
}

bool LooksAlike(const engine::MonitorPtr& a, const engine::MonitorPtr& b) {
  return a == b || (a->id == b->id && IsStopped(*a) == IsStopped(*b));
}
}  // namespace

Follower::Follower(shared::MainBas& bas, TreeModel& tree, QObject* parent)
    : QObject(parent), m_bas(bas), m_tree(tree), m_timer(this) {
  m_timer.setObjectName(QStringLiteral("FollowTimer"));
  m_timer.setInterval(PauseMilliseconds);
  // Ticks of a periodic timer are dropped while a call is under way: no handler meets another tree after it.
  connect(&m_timer, &QTimer::timeout, this, &Follower::Follow);
  const auto noteChange = [this] { m_treeChanged = true; };
  connect(&m_tree, &QAbstractItemModel::rowsInserted, this, noteChange);
  connect(&m_tree, &QAbstractItemModel::rowsRemoved, this, noteChange);
}

Follower::~Follower() {
  m_bas.Engine.OnUpdate({});
}

void Follower::Begin(QTreeView& view) {
  m_view = &view;
  m_bas.Engine.OnUpdate([this] { OnUpdate(); });
  m_timer.start();
}

/// On the link's thread.
void Follower::OnUpdate() {
  if (m_due.exchange(true)) return;
  QMetaObject::invokeMethod(
      this, [this] { m_timer.start(); }, Qt::QueuedConnection);
}

void Follower::Follow() {
  m_timer.stop();
  m_due = false;
  if (m_view == nullptr) return;  // connecting failed
  engine::MonitorSnapshot now;
  try {
    now = m_bas.Engine.Snapshot();
  } catch (const engine::EngineError&) {
    return;  // the poll notices it too, and says so
  }
  if (m_treeChanged || !std::ranges::equal(m_seen, now, LooksAlike)) {
    const ScrollKeeper scroll(*m_view);
    Synchronise(now);
  }
  m_treeChanged = false;
  m_seen = std::move(now);
  emit Followed();
}

/// Monitors are known by their names: one that was removed and added again is the same.
void Follower::Synchronise(const engine::MonitorSnapshot& monitors) {
  std::unordered_map<std::string_view, const engine::MonitorRecord*> unknown;
  for (const auto& monitor : monitors)
    if (monitor->TypeName() != engine::TypeServer) unknown.emplace(monitor->name, monitor.get());
  std::vector<const TreeNode*> removed;
  for (const auto& node : m_tree.Children()) {
    const auto monitor = unknown.find(node->name);
    if (monitor == unknown.end()) {
      removed.push_back(node.get());
      continue;
    }
    if (node->stopped != IsStopped(*monitor->second)) m_tree.SetStopped(*node, !node->stopped);
    unknown.erase(monitor);
  }
  for (const auto* node : removed) {
    if (m_view->currentIndex() == m_tree.IndexOf(*node))
      m_view->setCurrentIndex(m_tree.IndexOf(*m_tree.Root()));
    m_tree.Remove(*node);
  }
  for (const auto& monitor : monitors)
    if (unknown.count(monitor->name) != 0)
      m_tree.AddChild(
          {.name = monitor->name, .type = std::string(monitor->TypeName()), .stopped = IsStopped(*monitor)});
}

}  // namespace norvane::console
