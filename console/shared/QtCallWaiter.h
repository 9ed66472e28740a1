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

/// Keeps the windows painting while a call is unanswered, and shuts out what the user does meanwhile and what
/// the program does at intervals: none of it is made up for later. A user who acts after some time is told to
/// wait, once per call; the box goes with the answer. Must outlive the connection to the engine.
class QtCallWaiter : public QObject, public engine::CallWaiter {
  Q_OBJECT

 public:
  explicit QtCallWaiter(const QtDialogs& dialogs,
                        std::chrono::milliseconds patience = std::chrono::seconds(1));
  ~QtCallWaiter() override;

  void Wait(engine::PendingCall& call) noexcept override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void ShowPendingBox();

  const QtDialogs& m_dialogs;
  const std::chrono::milliseconds m_patience;
  QEventLoop* m_loop = nullptr;  ///< of the call that is being waited for
  QElapsedTimer m_since;
  std::unique_ptr<QMessageBox> m_box;
};

}  // namespace norvane::console::shared
