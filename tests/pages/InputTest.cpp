#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
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
  for (const auto type : AllTypes) {
    NewPage(type);
    Load({{"Monitor_Notify Mode", InternetCall("0")}});
    SetText("txtLogFile", "other.log");
    const auto before = State();
    for (auto* control : page->findChildren<QWidget*>()) {
      if (control->focusPolicy() == Qt::NoFocus || control->focusProxy() != nullptr) continue;
      SCOPED_TRACE(std::string(settings::TypeName(type)) + " " + control->objectName().toStdString());
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

TEST_F(PageInputTest, TheWheelTurnsNothingThatHasNoFocus) {
  bas.PagerTypes = {"a=Pager", "b=Phone", "c=Fax"};
  for (const auto type : AllTypes) {
    NewPage(type);
    Load({{"Monitor_Notify Mode", InternetCall("0")}});
    Control("cmdHelp").setFocus();
    const auto before = State();
    for (auto* control : page->findChildren<QWidget*>()) {
      SCOPED_TRACE(std::string(settings::TypeName(type)) + " " + control->objectName().toStdString());
      TurnWheel(*control);
      ASSERT_EQ(State(), before);
    }
    EXPECT_TRUE(Control("cmdHelp").hasFocus()) << "nor does it take the focus";
  }
}

}  // namespace
}  // namespace norvane::tests
