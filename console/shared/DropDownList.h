#pragma once

#include <QComboBox>

namespace norvane::console::shared {

/// A drop-down list with a signal before it opens. Without the focus it ignores the wheel.
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
