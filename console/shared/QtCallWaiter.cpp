#include "console/shared/QtCallWaiter.h"

#include <QApplication>
#include <QEvent>
#include <QEventLoop>
#include <QKeyEvent>
#include <QMessageBox>
#include <QTimer>
#include <QWindow>

#include "console/shared/QtDialogs.h"
#include "console/shared/UserInput.h"

namespace norvane::console::shared {

namespace {
using namespace std::chrono_literals;

constexpr auto Unnoticed = 20ms;  ///< most calls are answered by then, and need no event loop

void AwaitEnd(engine::PendingCall& call) {
  while (!call.WaitFor(1s))
    continue;
}

bool IsTick(const QObject* watched, QEvent::Type type) {
  const auto* timer = type == QEvent::Timer ? qobject_cast<const QTimer*>(watched) : nullptr;
  return timer != nullptr && !timer->isSingleShot();
}

bool IsEscape(const QEvent& event) {
  return event.type() == QEvent::KeyPress && static_cast<const QKeyEvent&>(event).key() == Qt::Key_Escape;
}

bool BelongsTo(const QMessageBox& box, const QObject* object) {
  const auto* widget = qobject_cast<const QWidget*>(object);
  return object == box.windowHandle() || (widget != nullptr && widget->window() == &box);
}
}  // namespace

QtCallWaiter::QtCallWaiter(const QtDialogs& dialogs, std::chrono::milliseconds boxDelay,
                           std::chrono::milliseconds patience)
    : m_dialogs(dialogs), m_boxDelay(boxDelay), m_patience(patience) {}

QtCallWaiter::~QtCallWaiter() = default;

void QtCallWaiter::Wait(engine::PendingCall& call) noexcept {
  m_since.start();
  if (call.WaitFor(Unnoticed)) return;
  if (m_loop != nullptr) return AwaitEnd(call);  // made by a screen reader's press, which is no event
  QEventLoop loop;
  m_loop = &loop;
  m_call = &call;
  qApp->installEventFilter(this);
  call.OnFinished([this] {
    QMetaObject::invokeMethod(
        this,
        [this] {
          if (m_loop != nullptr) m_loop->quit();
        },
        Qt::QueuedConnection);
  });
  QTimer::singleShot(m_patience, &loop, [this] {
    if (!m_box) ShowPendingBox();
  });
  loop.exec();
  qApp->removeEventFilter(this);
  m_loop = nullptr;
  m_box.reset();
  AwaitEnd(call);  // when the application ends, loops end early
}

bool QtCallWaiter::eventFilter(QObject* watched, QEvent* event) {
  if (IsEscape(*event) && m_call->Cancel()) return true;
  if (m_box && BelongsTo(*m_box, watched)) return false;
  if (IsTick(watched, event->type())) return true;
  if (!IsInput(event->type())) return false;
  if (IsInputStart(event->type()) && !m_box && m_since.hasExpired(m_boxDelay.count())) ShowPendingBox();
  event->ignore();
  return true;
}

void QtCallWaiter::ShowPendingBox() {
  m_box = QtDialogs::MakeMessageBox(m_dialogs.PendingCallBox());
  m_box->setWindowModality(Qt::ApplicationModal);
  m_box->show();
}

}  // namespace norvane::console::shared
