#include "console/shared/QtCallWaiter.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "console/shared/QtDialogs.h"

namespace norvane::tests {
namespace {

using namespace std::chrono_literals;
using console::shared::QtCallWaiter;
using console::shared::QtDialogs;

/// A call that the test finishes, on a thread of its own.
class ScriptedCall : public console::engine::PendingCall {
 public:
  ~ScriptedCall() override {
    if (m_thread.joinable()) m_thread.join();
  }
  void Finish() {
    m_thread = std::thread([this] {
      std::function<void()> callback;
      {
        const std::lock_guard lock(m_mutex);
        m_finished = true;
        callback = m_callback;
      }
      m_changed.notify_all();
      if (callback) callback();
    });
  }
  bool WaitFor(std::chrono::milliseconds time) override {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, time, [this] { return m_finished; });
  }
  void OnFinished(std::function<void()> callback) override {
    const std::lock_guard lock(m_mutex);
    ASSERT_FALSE(m_finished);
    m_callback = std::move(callback);
  }
  bool Cancel() override {
    if (mayCancel) Finish();
    return mayCancel;
  }
  bool mayCancel = false;

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_finished = false;
  std::function<void()> m_callback;
  std::thread m_thread;
};

class QtCallWaiterTest : public ::testing::Test {
 protected:
  QtCallWaiterTest() {
    dialogs.SetPendingCallText("please wait ... ...", "Wait Please");
    QObject::connect(&button, &QPushButton::clicked, &button, [this] { ++clicks; });
    button.show();
  }
  static std::vector<QMessageBox*> Boxes() {
    std::vector<QMessageBox*> boxes;
    for (auto* window : QApplication::topLevelWidgets())
      if (auto* box = qobject_cast<QMessageBox*>(window); box && box->isVisible()) boxes.push_back(box);
    return boxes;
  }

  QtDialogs dialogs;
  QPushButton button{QStringLiteral("Act")};
  int clicks = 0;
  ScriptedCall call;
};

TEST_F(QtCallWaiterTest, PaintsAndShutsOutInputAndTicks) {
  QtCallWaiter waiter(dialogs, 1h);
  QLineEdit field;
  QTimer ticker;
  int ticks = 0;
  QObject::connect(&ticker, &QTimer::timeout, &ticker, [&ticks] { ++ticks; });
  ticker.start(1);
  bool painted = false;
  QTimer::singleShot(50, [&] {
    QTest::mouseClick(&button, Qt::LeftButton);
    QTest::keyClick(&button, Qt::Key_Space);
    button.close();
    QInputMethodEvent composed;
    composed.setCommitString(QStringLiteral("\u4e2d"));
    QApplication::sendEvent(&field, &composed);
    button.repaint();
    painted = true;
    EXPECT_TRUE(Boxes().empty()) << "the user has not waited long yet";
    call.Finish();
  });
  waiter.Wait(call);
  EXPECT_TRUE(painted);
  EXPECT_EQ(clicks, 0);
  EXPECT_EQ(field.text(), QString());
  EXPECT_EQ(ticks, 0);
  EXPECT_TRUE(button.isVisible());
  EXPECT_TRUE(QTest::qWaitFor([&] { return ticks > 0; })) << "ticks come again after the call";
  QTest::mouseClick(&button, Qt::LeftButton);
  EXPECT_EQ(clicks, 1) << "and so does input";
}

TEST_F(QtCallWaiterTest, AUserWhoActsGetsOneBoxPerCall) {
  QtCallWaiter waiter(dialogs, 1ms);
  QTimer::singleShot(50, [&] {
    QTest::mouseClick(&button, Qt::LeftButton);
    ASSERT_EQ(Boxes().size(), 1u);
    auto* box = Boxes().front();
    EXPECT_EQ(box->windowTitle(), QStringLiteral("Wait Please"));
    EXPECT_EQ(box->text(), QStringLiteral("please wait ... ..."));
    QTest::mouseClick(box->button(QMessageBox::Ok), Qt::LeftButton);
    EXPECT_TRUE(Boxes().empty());
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_TRUE(Boxes().empty());
    call.Finish();
  });
  waiter.Wait(call);
  EXPECT_EQ(clicks, 0);
}

TEST_F(QtCallWaiterTest, EscGivesUpACallThatMayBe) {
  QtCallWaiter waiter(dialogs, 1ms);
  for (const bool hasBox : {false, true}) {
    SCOPED_TRACE(hasBox);
    ScriptedCall fixed;
    QTimer::singleShot(50, [&] {
      QTest::keyClick(&button, Qt::Key_Escape);
      EXPECT_FALSE(fixed.WaitFor(0ms));
      fixed.Finish();
    });
    waiter.Wait(fixed);
    ScriptedCall run;
    run.mayCancel = true;
    QTimer::singleShot(50, [&] {
      if (hasBox) QTest::mouseClick(&button, Qt::LeftButton);
      QWidget* target = &button;
      if (hasBox) target = Boxes().front();
      QTest::keyClick(target, Qt::Key_Escape);
    });
    waiter.Wait(run);
    EXPECT_TRUE(Boxes().empty());
  }
}

TEST_F(QtCallWaiterTest, AUserWhoOnlyWatchesGetsTheBoxLater) {
  QtCallWaiter waiter(dialogs, 1h, 100ms);
  QTimer look;
  look.setSingleShot(true);
  QObject::connect(&look, &QTimer::timeout, &look, [&] {
    if (Boxes().empty()) return look.start(1);
    QTest::mouseClick(Boxes().front()->button(QMessageBox::Ok), Qt::LeftButton);
    QTimer::singleShot(200, &button, [this] {
      EXPECT_TRUE(Boxes().empty()) << "it was answered";
      call.Finish();
    });
  });
  look.start(50);
  waiter.Wait(call);
  EXPECT_TRUE(Boxes().empty());
}

TEST_F(QtCallWaiterTest, BoxGoesWithTheAnswer) {
  QtCallWaiter waiter(dialogs, 1ms);
  QTimer::singleShot(50, [&] {
    QTest::keyClick(&button, Qt::Key_Space);
    EXPECT_EQ(Boxes().size(), 1u);
    call.Finish();
  });
  waiter.Wait(call);
  EXPECT_TRUE(Boxes().empty());
}

TEST_F(QtCallWaiterTest, ACallWithinACallHoldsUpNeither) {
  QtCallWaiter waiter(dialogs, 1h);
  ScriptedCall inner;
  QTimer::singleShot(50, [&] {
    std::thread other([&inner] {
      EXPECT_FALSE(inner.WaitFor(50ms));
      inner.Finish();
    });
    waiter.Wait(inner);
    other.join();
    QTest::mouseClick(&button, Qt::LeftButton);
    call.Finish();
  });
  waiter.Wait(call);
  EXPECT_EQ(clicks, 0) << "the outer call still shut out input";
}

TEST_F(QtCallWaiterTest, AnsweredCallNeedsNoLoop) {
  QtCallWaiter waiter(dialogs);
  bool ran = false;
  QObject scope;
  QTimer::singleShot(0, &scope, [&ran] { ran = true; });
  call.Finish();
  ASSERT_TRUE(call.WaitFor(30s));  // its thread may be late
  waiter.Wait(call);
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace norvane::tests
