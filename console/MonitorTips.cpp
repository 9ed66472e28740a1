#include "console/MonitorTips.h"

#include <utility>

#include "console/TipText.h"
#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"

namespace norvane::console {

namespace {
namespace keys = engine::keys;

QString ToText(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// In the present tense only while it runs and was checked.
QString StateLine(const engine::MonitorRecord& monitor, std::string_view result) {
  const bool wasChecked = monitor.since != std::chrono::system_clock::time_point();
  if (monitor.Get(keys::Status) != engine::StatusEnable) return QStringLiteral("stopped");
  if (!wasChecked) return QStringLiteral("not checked yet");
  return (result == engine::ResultOk ? QStringLiteral("Ok since ") : QStringLiteral("failing since ")) +
         TimeText(monitor.since);
}

QStringList Lines(const engine::MonitorRecord& monitor) {
  const auto result = monitor.Get(keys::Result);
  QStringList lines = {StateLine(monitor, result)};
  if (!result.empty() && result != engine::ResultOk)
    lines.append(QStringLiteral("reason: ") + ToText(result));
  if (monitor.checkedAt != std::chrono::system_clock::time_point())
    lines.append(QStringLiteral("the check at %1 took %2 ms")
                     .arg(TimeText(monitor.checkedAt))
                     .arg(monitor.checkDuration.count()));
  return lines;
}
}  // namespace

QString MonitorTips::Of(const std::string& fullName) const {
  QStringList lines = {ToText(fullName)};
  try {
    if (const auto monitor = m_engine.Look(fullName)) lines += Lines(*monitor);
  } catch (const engine::EngineError&) {
    // The remark says that there is no engine.
  }
  const auto remark = m_remarks.find(fullName);
  const auto& last = remark == m_remarks.end() ? m_otherRemark : remark->second;
  if (!last.isEmpty()) lines.append(last);
  return ToolTip(lines);
}

void MonitorTips::SetRemarks(std::map<std::string, QString> remarks, const QString& others) {
  m_remarks = std::move(remarks);
  m_otherRemark = others;
}

}  // namespace norvane::console
