#pragma once

#include <QEvent>
#include <QObject>

class QWidget;

namespace norvane::console::shared {

/// Whether the user did something by this: pressed a key or button, turned the wheel, closed a window.
[[nodiscard]] bool IsAct(QEvent::Type type);
/// An act, or what belongs to one.
[[nodiscard]] bool IsInput(QEvent::Type type);

/// For as long as this stands, what the user does is lost, but for one control. A box that comes up meanwhile
/// is heard.
class InputShut : public QObject {
  Q_OBJECT

 public:
  explicit InputShut(const QWidget* open = nullptr);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  const QWidget* m_open;
  const QWidget* m_modal;  ///< the window that had the input to itself when this began; may be null
};

}  // namespace norvane::console::shared
