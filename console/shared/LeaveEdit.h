#pragma once

#include <QLineEdit>

namespace norvane::console::shared {

/// A text box that tells when the user moves on to another control. A window or menu that comes up takes the
/// focus away only for a while, and does not count.
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
