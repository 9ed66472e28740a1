#include "driver/Windows.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QTest>
#include <QTimer>
#include <exception>

namespace norvane::driver {

namespace {
constexpr int PatienceMilliseconds = 60000;
constexpr int LookMilliseconds = 5;

std::string OpenWindow() {
  const auto* window = QApplication::activeModalWidget();
  if (window == nullptr) return "";
  auto text = "; open is \"" + window->windowTitle().toStdString() + '"';
  if (const auto* box = qobject_cast<const QMessageBox*>(window)) text += ": " + box->text().toStdString();
  return text;
}

/// Polls for a modal window, as `InWindow` says, while this object lives.
class ModalUser : public QObject {
 public:
  ModalUser(std::string name, std::function<bool(QWidget&)> answer)
      : m_name(std::move(name)), m_answer(std::move(answer)) {
    m_since.start();
    LookAgain();
  }
  void Finish() const {
    if (m_failure) std::rethrow_exception(m_failure);
    if (!m_isAnswered) throw std::runtime_error("the window \"" + m_name + "\" did not come");
  }

 private:
  // While an engine call is unanswered only single shots go off.
  void LookAgain() { QTimer::singleShot(LookMilliseconds, this, &ModalUser::Look); }

  void Look() {
    try {
      if (m_since.hasExpired(PatienceMilliseconds))
        throw std::runtime_error("the window \"" + m_name +
                                 (m_isAnswered ? "\" does not go" : "\" did not come") + OpenWindow());
      QWidget* window = QApplication::activeModalWidget();
      if (!m_isAnswered && window != nullptr && window->isVisible()) m_isAnswered = m_answer(*window);
      return LookAgain();
    } catch (...) {
      m_failure = std::current_exception();
    }
    if (QWidget* window = QApplication::activeModalWidget()) window->close();
  }

  const std::string m_name;
  const std::function<bool(QWidget&)> m_answer;
  QElapsedTimer m_since;
  bool m_isAnswered = false;
  std::exception_ptr m_failure;
};
}  // namespace

void Click(QWidget& control) {
  QTest::mouseClick(&control, Qt::LeftButton);
}

void Enter(QLineEdit& field, const std::string& text) {
  field.selectAll();
  QTest::keyClick(&field, Qt::Key_Delete);
  QTest::keyClicks(&field, QString::fromStdString(text));
}

void Answer(QMessageBox& box, const std::string& caption) {
  for (auto* button : box.buttons())
    if (button->text().remove(u'&').toStdString() == caption) return Click(*button);
  throw std::runtime_error("the box has no button \"" + caption + '"');
}

void Await(const std::string& what, const std::function<bool()>& holds) {
  if (!QTest::qWaitFor(holds, PatienceMilliseconds))
    throw std::runtime_error(what + " did not come" + OpenWindow());
}

void InWindow(const std::string& name, const std::function<void()>& act,
              const std::function<bool(QWidget&)>& answer) {
  const ModalUser user(name, answer);
  act();
  user.Finish();
}

void InBox(const std::string& title, const std::function<void()>& act,
           const std::function<void(QMessageBox&)>& answer) {
  InWindow(title, act, [&](QWidget& window) {
    auto* box = qobject_cast<QMessageBox*>(&window);
    const bool isRight = box != nullptr && box->windowTitle().toStdString() == title;
    if (isRight) answer(*box);
    return isRight;
  });
}

}  // namespace norvane::driver
