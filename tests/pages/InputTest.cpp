#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTest>
#include <QWheelEvent>

#include "tests/pages/PageTest.h"

namespace norvane::tests {
namespace {

class PageInputTest : public PageTest {
 protected:
  /// Everything that input could change.
  [[nodiscard]] std::string State() const {
    std::string state;
    for (const auto* button : page->findChildren<QAbstractButton*>())
      state += button->isChecked() ? '1' : '0';
    for (const auto* field : page->findChildren<QLineEdit*>())
      state += field->text().toStdString() + '|';
    state += std::to_string(Control<QComboBox>("cmbPagerType").currentIndex());
    return state + std::to_string(Control<QTabBar>("SSTab1_Strip").currentIndex());
  }
  static void TurnWheel(QWidget& control) {
    const QPointF middle = control.rect().center();
    QWheelEvent event(middle, control.mapToGlobal(middle), {}, QPoint(0, -120), Qt::NoButton, {},
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&control, &event);
  }
};

TEST_F(PageInputTest, EnterAndEscapePressNothing) {
  for (const auto& type : AllTypes) {
    NewPage(type);
    Load({{"Monitor_Notify Mode", InternetCall("0")}});
    SetText("txtLogFile", "other.log");
    for (auto* button : page->findChildren<QPushButton*>())
      button->setAutoDefault(true);  // on some desktops Return presses the one in focus
    const auto before = State();
    for (auto* control : page->findChildren<QWidget*>()) {
      if (control->focusPolicy() == Qt::NoFocus || control->focusProxy() != nullptr) continue;
      SCOPED_TRACE(std::string(type.name) + " " + control->objectName().toStdString());
      for (const auto key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape})
        QTest::keyClick(control, key);
      EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    }
    EXPECT_EQ(State(), before);
    EXPECT_TRUE(page->isVisible());
    EXPECT_TRUE(engine.TakeCalls().empty());
    EXPECT_TRUE(dialogs.fileRequests.empty());
  }
}

TEST_F(PageInputTest, APastedLineLosesItsEnd) {
  const struct {
    const char* name;
    const char16_t* pasted;
    const char* between;
  } rows[] = {
      {"one line", u"b", "abc"},     {"cell of a table", u"b\n", "abc"}, {"lines", u"\r\nb\r\nB\r\n", "abBc"},
      {"blanks", u" b\t", "a b\tc"}, {"separators", u"b\u2029", "abc"},
  };
  for (const auto& type : AllTypes) {
    NewPage(type);
    Load({{"Monitor_LogFile", "as\nstored"}});
    EXPECT_EQ(Text("txtLogFile"), "as\nstored");
    for (auto* field : page->findChildren<QLineEdit*>()) {
      for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " in " + field->objectName().toStdString());
        field->setText(QStringLiteral("ac"));
        field->setCursorPosition(1);
        QApplication::clipboard()->setText(QString::fromUtf16(row.pasted));
        field->paste();
        EXPECT_EQ(field->text().toStdString(), row.between);
        EXPECT_EQ(field->cursorPosition(), field->text().size() - 1);
      }
    }
  }
}

TEST_F(PageInputTest, TheWheelTurnsNothingThatHasNoFocus) {
  bas.PagerTypes = {"a=Pager", "b=Phone", "c=Fax"};
  for (const auto& type : AllTypes) {
    NewPage(type);
    Load({{"Monitor_Notify Mode", InternetCall("0")}});
    Control("cmdHelp").setFocus();
    const auto before = State();
    for (auto* control : page->findChildren<QWidget*>()) {
      SCOPED_TRACE(std::string(type.name) + " " + control->objectName().toStdString());
      TurnWheel(*control);
      ASSERT_EQ(State(), before);
    }
    EXPECT_TRUE(Control("cmdHelp").hasFocus()) << "nor does it take the focus";
  }
}

TEST_F(PageInputTest, AFailedTestLeavesItsReasonOnItsButton) {
  NewPage(settings::Type::Web);
  Load();
  bas.Store = bas.FetchComponent<console::engine::ServiceStore>("here");
  const auto& button = Control<QPushButton>("cmdTest");
  const auto test = [&](std::int32_t result) {
    engine.monitorAnswer.result = result;
    dialogs.Announce();
    page->cmdTest_Click();
    (void)dialogs.TakeBoxes();
    return button.toolTip().toStdString();
  };
  EXPECT_EQ(test(-1), "<p>failed</p>");
  EXPECT_EQ(test(0), "");
  engine.FailOnce("Monitor", {console::engine::EngineErrorCode::TimedOut, "<b>no answer"}, 1);
  EXPECT_EQ(test(0), "<p>&lt;b&gt;no answer</p>");
  Load();
  EXPECT_EQ(button.toolTip(), QString()) << "of another monitor";
}

}  // namespace
}  // namespace norvane::tests
