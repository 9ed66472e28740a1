#include "support/DropDownList.h"

#include <QWheelEvent>

namespace norvane::support {

void DropDownList::showPopup() {
  emit DropDown();
  QComboBox::showPopup();
}

void DropDownList::wheelEvent(QWheelEvent* event) {
  if (hasFocus())
    QComboBox::wheelEvent(event);
  else
    event->ignore();
}

}  // namespace norvane::support
