#include "console/shared/DropDownList.h"

#include <QWheelEvent>

namespace norvane::console::shared {

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

}  // namespace norvane::console::shared
