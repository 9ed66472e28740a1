#include "console/HealthTips.h"

#include <utility>

#include "console/MonitorTips.h"
#include "console/TipText.h"
#include "console/TreeModel.h"
#include "console/shared/MainBas.h"

namespace norvane::console {

namespace {
QString OverdueText(const engine::OverdueMonitor& monitor) {
  if (monitor.checkedAt == std::chrono::system_clock::time_point())
    return QStringLiteral("no check yet, three intervals");
  return QStringLiteral("no check since %1, three intervals").arg(TimeText(monitor.checkedAt));
}
}  // namespace

HealthTips::HealthTips(shared::MainBas& bas, TreeModel& tree, MonitorTips& monitors)
    : m_bas(bas), m_tree(tree), m_monitors(monitors) {}

void HealthTips::Refresh() {
  try {
    if (m_query && !m_query->HasEnded()) return ShowNoAnswer();
    if (m_query) Show(std::exchange(m_query, nullptr)->Reply());
    m_query = m_bas.Engine.QueryStatus();
  } catch (const engine::EngineError&) {
    m_query.reset();
    ShowNoAnswer();
  }
}

void HealthTips::Show(const engine::EngineStatus& status) {
  m_answeredAt = std::chrono::system_clock::now();
  QStringList lines;
  if (!status.stalled.empty()) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(status.stalledFor).count();
    lines.append(
        QStringLiteral("stalled for %1 s: %2").arg(seconds).arg(QString::fromStdString(status.stalled)));
  }
  for (const auto& condition : status.conditions)
    lines.append(TimeText(condition.since) + QLatin1Char(' ') + QString::fromStdString(condition.text));
  m_tree.SetRootToolTip(ToolTip(lines));
  std::map<std::string, QString> overdue;
  for (const auto& monitor : status.overdue)
    overdue.emplace(monitor.name, OverdueText(monitor));
  m_monitors.SetRemarks(std::move(overdue));
}

/// Nor can any row be younger then.
void HealthTips::ShowNoAnswer() {
  const auto remark = QStringLiteral("no answer from the engine since %1").arg(TimeText(m_answeredAt));
  m_tree.SetRootToolTip(ToolTip({remark}));
  m_monitors.SetRemarks({}, remark);
}

}  // namespace norvane::console
