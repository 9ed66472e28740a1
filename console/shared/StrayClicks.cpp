#include "console/shared/StrayClicks.h"

#include <QApplication>
#include <QMouseEvent>
#include <QStyleHints>
#include <QWidget>

namespace norvane::console::shared {

StrayClicks::StrayClicks() {
  qApp->installEventFilter(this);
}

bool StrayClicks::IsStray(const QMouseEvent& press) const {
  const auto& hints = *QGuiApplication::styleHints();
  return m_pressed && (m_window.isNull() || !m_window->isVisible()) &&
         press.timestamp() - m_time < static_cast<unsigned long long>(hints.mouseDoubleClickInterval()) &&
         (press.globalPosition().toPoint() - m_place).manhattanLength() <= hints.mouseDoubleClickDistance();
}

bool StrayClicks::eventFilter(QObject* watched, QEvent* event) {
  const bool isPress =
      event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick;
  if (!isPress || !watched->isWidgetType()) return false;
  const auto& press = static_cast<const QMouseEvent&>(*event);
  if (IsStray(press)) return true;
  m_pressed = true;
  m_window = static_cast<QWidget*>(watched)->window();
  m_place = press.globalPosition().toPoint();
  m_time = press.timestamp();
  return false;
}

}  // namespace norvane::console::shared
