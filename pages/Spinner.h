#pragma once

#include <QWidget>

namespace norvane::pages {

/// Two small arrows beside a text field. They know no value and no range, and never take the focus.
class Spinner : public QWidget {
  Q_OBJECT

 public:
  explicit Spinner(QWidget* parent = nullptr);

 signals:
  void UpClick();
  void DownClick();
};

}  // namespace norvane::pages
