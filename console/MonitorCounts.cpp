#include "console/MonitorCounts.h"

#include "console/RowState.h"
#include "console/engine/EngineError.h"

namespace norvane::console {

QString CountsText(const engine::MonitorSnapshot& monitors) {
  int all = 0;
  int failing = 0;
  int stopped = 0;
  for (const auto& monitor : monitors) {
    if (monitor->TypeName() == engine::TypeServer) continue;
    const auto state = ReadRowState([&monitor](std::string_view key) { return monitor->Get(key); });
    ++all;
    failing += state == RowState::Failed ? 1 : 0;
    stopped += state == RowState::Idle ? 1 : 0;
  }
  if (all == 0) return QStringLiteral("no monitors");
  return QStringLiteral("%1 of %2 failing, %3 stopped").arg(failing).arg(all).arg(stopped);
}

void ShowCounts(QLabel& label, engine::EngineFactory& engine) {
  try {
    label.setText(CountsText(engine.Snapshot()));
  } catch (const engine::EngineError&) {
    label.setText(QStringLiteral("no monitor engine"));
  }
}

}  // namespace norvane::console
