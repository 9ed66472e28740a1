#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <chrono>
#include <memory>

#include "console/engine/CallWaiter.h"

class QEventLoop;
class QMessageBox;

namespace norvane::console::shared {

class QtDialogs;

/// Waits for the engine on the window system's thread. Windows are painted meanwhile; input and ticks of
/// periodic timers are dropped, not deferred, but Esc gives up a call that may be. A user who acts after
/// `boxDelay`, and any user after `patience`, gets a box, once a call; it closes with the answer. Must
/// outlive the connection to the engine.
class QtCallWaiter : public QObject, public engine::CallWaiter {
  Q_OBJECT

 public:
  explicit QtCallWaiter(const QtDialogs& dialogs,
                        std::chrono::milliseconds boxDelay = std::chrono::seconds(1),
                        std::chrono::milliseconds patience = std::chrono::seconds(2));
  ~QtCallWaiter() override;

  void Wait(engine::PendingCall& call) noexcept override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void ShowPendingBox();

  const QtDialogs& m_dialogs;
  const std::chrono::milliseconds m_boxDelay;
  const std::chrono::milliseconds m_patience;
  QEventLoop* m_loop = nullptr;           ///< of the call that is being waited for
  engine::PendingCall* m_call = nullptr;  ///< while there is a loop
  QElapsedTimer m_since;
  std::unique_ptr<QMessageBox> m_box;
};

}  // namespace norvane::console::shared
