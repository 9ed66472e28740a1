#include "console/shared/UserInput.h"

#include <QApplication>
#include <QWidget>

namespace norvane::console::shared {

bool IsInputStart(QEvent::Type type) {
  switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::KeyPress:
    case QEvent::Wheel:
    case QEvent::TouchBegin:
    case QEvent::TabletPress:
    case QEvent::Close:
      return true;
    default:
      return false;
  }
}

bool IsInput(QEvent::Type type) {
  switch (type) {
    case QEvent::MouseButtonRelease:
    case QEvent::KeyRelease:
    case QEvent::InputMethod:
    case QEvent::ShortcutOverride:
    case QEvent::Shortcut:
    case QEvent::ContextMenu:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TabletRelease:
    case QEvent::Drop:
      return true;
    default:
      return IsInputStart(type);
  }
}

InputBlocker::InputBlocker(const QWidget* open) : m_open(open), m_modal(QApplication::activeModalWidget()) {
  qApp->installEventFilter(this);
}

bool InputBlocker::eventFilter(QObject* watched, QEvent* event) {
  if (watched == m_open || !IsInput(event->type())) return false;
  // A window passes its events on to its widgets, which are watched too.
  if (!watched->isWidgetType() && event->type() != QEvent::Shortcut) return false;
  const auto* modal = QApplication::activeModalWidget();
  if (modal != nullptr && modal != m_modal) return false;
  event->ignore();
  return true;
}

}  // namespace norvane::console::shared
