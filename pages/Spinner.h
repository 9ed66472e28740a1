#pragma once

#include <QWidget>

namespace norvane::pages {

/// Two small arrows beside a text field, without a value or range of their own. They never get the focus.
class Spinner : public QWidget {
  Q_OBJECT

 public:
  explicit Spinner(QWidget* parent = nullptr);

 signals:
  void UpClick();
  void DownClick();
};

}  // namespace norvane::pages
