#pragma once

#include <QEvent>
#include <QObject>

class QWidget;

namespace norvane::console::shared {

/// Whether the event begins an input of the user: a key or button pressed, the wheel turned, a window closed.
[[nodiscard]] bool IsInputStart(QEvent::Type type);
/// Whether the event belongs to the user's input at all.
[[nodiscard]] bool IsInput(QEvent::Type type);

/// During its lifetime the user's input is dropped, except to one control and to boxes that come up
/// meanwhile.
class InputBlocker : public QObject {
  Q_OBJECT

 public:
  explicit InputBlocker(const QWidget* open = nullptr);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  const QWidget* m_open;
  const QWidget* m_modal;  ///< the window that had the input to itself when this began; may be null
};

}  // namespace norvane::console::shared
