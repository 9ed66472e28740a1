#pragma once

#include <QLineEdit>

namespace norvane::console::shared {

/// A text box with a signal for the user's move to another control. Losing the focus to a window or menu that
/// comes up does not count.
class LeaveEdit : public QLineEdit {
  Q_OBJECT

 public:
  using QLineEdit::QLineEdit;

 signals:
  void LostFocus();

 protected:
  void focusOutEvent(QFocusEvent* event) override;
};

}  // namespace norvane::console::shared
