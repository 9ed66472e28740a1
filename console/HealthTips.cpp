#include "console/HealthTips.h"

#include <QDateTime>
#include <QStringList>
#include <utility>

#include "console/StatusModel.h"
#include "console/TreeModel.h"
#include "console/shared/MainBas.h"

namespace norvane::console {

namespace {
constexpr int MaxLines = 10;

/// Today's time, or date and time.
QString TimeText(std::chrono::system_clock::time_point at) {
  const auto time = QDateTime::fromSecsSinceEpoch(std::chrono::system_clock::to_time_t(at));
  const bool isToday = time.date() == QDate::currentDate();
  return time.toString(isToday ? QStringLiteral("HH:mm") : QStringLiteral("yyyy-MM-dd HH:mm"));
}

/// The lines as they are: texts may come from servers, and a tool tip would read them as markup.
QString ToolTip(QStringList lines) {
  if (const auto more = lines.size() - MaxLines; more > 0) {
    lines.erase(lines.begin() + MaxLines, lines.end());
    lines.append(QStringLiteral("and %1 more").arg(more));
  }
  if (lines.isEmpty()) return {};
  return QStringLiteral("<p style=\"white-space:pre\">%1</p>")
      .arg(lines.join(QLatin1Char('\n')).toHtmlEscaped());
}

QString OverdueText(const engine::OverdueMonitor& monitor) {
  if (monitor.checkedAt == std::chrono::system_clock::time_point())
    return QStringLiteral("no check yet, three intervals");
  return QStringLiteral("no check since %1, three intervals").arg(TimeText(monitor.checkedAt));
}
}  // namespace

HealthTips::HealthTips(shared::MainBas& bas, TreeModel& tree, StatusModel& list)
    : m_bas(bas), m_tree(tree), m_list(list) {}

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
    overdue.emplace(monitor.name, ToolTip({OverdueText(monitor)}));
  m_list.SetToolTips(std::move(overdue));
}

/// Nor can any row be younger then.
void HealthTips::ShowNoAnswer() {
  const auto toolTip =
      ToolTip({QStringLiteral("no answer from the engine since %1").arg(TimeText(m_answeredAt))});
  m_tree.SetRootToolTip(toolTip);
  m_list.SetToolTips({}, toolTip);
}

}  // namespace norvane::console
