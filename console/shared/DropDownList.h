#pragma once

#include <QComboBox>

namespace norvane::console::shared {

/// A list that drops down and tells so before it does. Without the focus it leaves the wheel to the form.
class DropDownList : public QComboBox {
  Q_OBJECT

 public:
  explicit DropDownList(QWidget* parent = nullptr) : QComboBox(parent) { setFocusPolicy(Qt::StrongFocus); }

  void showPopup() override;

 signals:
  /// The user opens the list, by mouse or key.
  void DropDown();

 protected:
  void wheelEvent(QWheelEvent* event) override;
};

}  // namespace norvane::console::shared
