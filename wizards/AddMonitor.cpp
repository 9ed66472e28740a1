#include "wizards/AddMonitor.h"

#include <utility>

#include "console/shared/MainBas.h"
#include "console/shared/MonitorChange.h"

namespace norvane::wizards {

const console::shared::TreeNode& AddMonitor(console::shared::MainBas& bas, console::shared::TreeNode node) {
  bas.Tree->RequireRoot();
  const auto ref = bas.Engine.NewServiceRef();
  ref->SetMonitorName(node.name);
  console::shared::ChangeMonitor(
      bas, node.name, [&] { bas.Monitors->Add(*ref); }, [](const auto& now) { return now != nullptr; });
  const auto& added = bas.Tree->AddMonitorNode(std::move(node));
  bas.Tree->SelectNode(added);
  return added;
}

}  // namespace norvane::wizards
