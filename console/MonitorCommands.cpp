#include "console/MonitorCommands.h"

#include "console/Follower.h"
#include "console/TreeModel.h"
#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"
#include "console/shared/MainBas.h"
#include "console/shared/MonitorChange.h"

namespace norvane::console {

using engine::EngineError;
using shared::BoxButtons;
using shared::BoxChoice;
using shared::BoxIcon;

MonitorCommands::MonitorCommands(shared::MainBas& bas, TreeModel& tree, Follower& follower)
    : m_bas(bas), m_tree(tree), m_follower(follower) {}

bool MonitorCommands::Resolve(const shared::TreeNode& node) {
  m_bas.CurrentRef->SetMonitorName(node.name);
  try {
    m_bas.Monitors->Resolve(*m_bas.CurrentRef);
    return true;
  } catch (const EngineError& failure) {
    if (failure.Code() == engine::EngineErrorCode::NotFound) {
      m_follower.Follow();
      return false;
    }
    m_bas.Dialogs.Show({.title = "Restart",
                        .text =
                            "Can not access this monitor, maybe you have restarted your service, thus you "
                            "must restart this program",
                        .icon = BoxIcon::Information});
    return false;
  }
}

bool MonitorCommands::WriteStatus(const shared::TreeNode& node, bool stopped) {
  if (!Resolve(node)) return false;
  const auto status = stopped ? engine::StatusDisable : engine::StatusEnable;
  try {
    const auto monitor = m_bas.CurrentRef->GetMonitor();  // current when a click shows it
    shared::ChangeMonitor(
        m_bas, node.name, [&] { monitor->SetAttr(engine::keys::Status, status); },
        [&](const auto& now) { return now && now->Get(engine::keys::Status) == status; });
    return true;
  } catch (const EngineError& failure) {
    m_bas.ShowFailure((stopped ? "Can not stop " : "Can not start ") + node.name, failure);
    return false;
  }
}

bool MonitorCommands::SetStopped(const shared::TreeNode& node, bool stopped) {
  if (!WriteStatus(node, stopped)) return false;
  m_tree.SetStopped(node, stopped);
  return true;
}

bool MonitorCommands::Delete(const std::string& fullName) {
  if (m_bas.Dialogs.Show({.title = shared::ApplicationTitle,
                          .text = "Are you sure you want to delete  [" + fullName + "]  monitor service",
                          .icon = BoxIcon::Question,
                          .buttons = BoxButtons::YesNo}) != BoxChoice::Yes)
    return false;
  if (m_tree.Find(fullName) == nullptr) return false;  // another program was faster
  m_bas.CurrentRef->SetMonitorName(fullName);
  try {
    shared::ChangeMonitor(
        m_bas, fullName, [this] { m_bas.Monitors->Remove(*m_bas.CurrentRef); },
        [](const auto& now) { return !now; });
  } catch (const EngineError& failure) {
    m_bas.ShowFailure("Can not delete " + fullName, failure);
    return false;
  }
  m_bas.Monitors.Release();
  m_bas.CurrentRef.Release();
  return true;
}

}  // namespace norvane::console
