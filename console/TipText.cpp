#include "console/TipText.h"

#include <QDateTime>

namespace norvane::console {

namespace {
constexpr int MaxLines = 10;
}  // namespace

QString TimeText(std::chrono::system_clock::time_point at) {
  const auto time = QDateTime::fromSecsSinceEpoch(std::chrono::system_clock::to_time_t(at));
  const bool isToday = time.date() == QDate::currentDate();
  return time.toString(isToday ? QStringLiteral("HH:mm") : QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString ToolTip(QStringList lines) {
  if (const auto more = lines.size() - MaxLines; more > 0) {
    lines.erase(lines.begin() + MaxLines, lines.end());
    lines.append(QStringLiteral("and %1 more").arg(more));
  }
  if (lines.isEmpty()) return {};
  return QStringLiteral("<p style=\"white-space:pre-wrap\">%1</p>")
      .arg(lines.join(QLatin1Char('\n')).toHtmlEscaped());
}

}  // namespace norvane::console
