#pragma once

#include <QObject>
#include <QPoint>
#include <QPointer>

class QMouseEvent;
class QWidget;

namespace norvane::console::shared {

/// During its lifetime drops the second press of a double click whose first press has closed its window: it
/// would press whatever lay beneath.
class StrayClicks : public QObject {
  Q_OBJECT

 public:
  StrayClicks();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  [[nodiscard]] bool IsStray(const QMouseEvent& press) const;

  bool m_pressed = false;         ///< there was a press
  QPointer<QWidget> m_window;     ///< that of the last press
  QPoint m_place;                 ///< of it, on the screen
  unsigned long long m_time = 0;  ///< of it, in milliseconds
};

}  // namespace norvane::console::shared
