#include "console/shared/LeaveEdit.h"

#include <QFocusEvent>

namespace norvane::console::shared {

void LeaveEdit::focusOutEvent(QFocusEvent* event) {
  QLineEdit::focusOutEvent(event);
  const auto reason = event->reason();
  if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason &&
      reason != Qt::MenuBarFocusReason)
    emit LostFocus();
}

}  // namespace norvane::console::shared
