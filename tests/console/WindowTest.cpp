#include <QAction>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeView>
#include <QWindow>

#include "console/StatusList.h"
#include "tests/support/ConsoleFixture.h"
#include "wizards/FrmAddMonitor.h"
#include "wizards/FrmWizWeb.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;

class WindowTest : public ConsoleFixture {
 protected:
  [[nodiscard]] QPushButton& Apply() { return Part<QPushButton>(*bas.PageForms[0], "cmdApply"); }
};

TEST_F(WindowTest, APageIsNeverWrittenIntoAnotherMonitor) {
  for (const char* failing : {"GetMonitor", "Kind", "TypeName", "GetAttr", "Name", ""}) {
    SCOPED_TRACE(failing);
    const std::string shop = std::string("WebMonitor Of shop") + failing;
    const std::string wiki = std::string("WebMonitor Of wiki") + failing;
    const auto urlOf = [this](const std::string& name) {
      return engine.At(name).attributes["Monitor_Parameter"];
    };
    for (const auto& name : {shop, wiki}) {
      engine.Place(name, {{"Monitor_Parameter", "http://www.example.com/" + name},
                          {"Monitor_InterVal (s)", "60"},
                          {"Monitor_Timeout (s)", "30"},
                          {"Monitor_MaxFailTimes", "2"},
                          {"Monitor_FailTimes", "2"},
                          {"Monitor_LogFile", "norvane.log"}});
      if (form->isVisible()) form->AddMonitorNode({.name = name, .type = "WebMonitor"});
    }
    engine.Place(std::string("WebMonitor Of bare") + failing, {}, 1);
    if (!form->isVisible()) Start();
    ClickNode(shop);
    if (*failing != '\0') {
      engine.FailOnce(failing, EngineError(EngineErrorCode::Failed, "broken"));
      dialogs.Announce();
      ClickNode(wiki);
    } else {
      form->AddMonitorNode({.name = "WebMonitor Of bare", .type = "WebMonitor"});
      ClickNode("WebMonitor Of bare");
      EXPECT_TRUE(bas.PageForms[0]->isVisible());
    }
    if (!bas.PageForms[0]->isVisible()) continue;
    auto& point = Part<QLineEdit>(*bas.PageForms[0], "txtMonitorPoint");
    const auto shown = point.text().toStdString();
    Click(Apply());
    EXPECT_EQ(urlOf(wiki), "http://www.example.com/" + wiki);
    EXPECT_EQ(urlOf(shop), "http://www.example.com/" + shop);
    point.setText(QStringLiteral("http://www.example.com/changed"));
    Click(Apply());
    EXPECT_EQ(urlOf(shown.ends_with(wiki) ? shop : wiki).find("changed"), std::string::npos);
    EXPECT_EQ(engine.At(std::string("WebMonitor Of bare") + failing).attributes.count("Monitor_Parameter"),
              0U);
  }
}

TEST_F(WindowTest, WithoutARootNothingIsAddedOrDeleted) {
  engine.FailOnce("GetRoot", EngineError(EngineErrorCode::Gone, "no greeting from the engine"));
  Start();
  EXPECT_TRUE(Control<console::StatusList>("LstV").EmptyText().contains(QStringLiteral("no greeting")));
  (void)engine.TakeCalls();
  dialogs.Announce();
  InForm<wizards::FrmWizWeb>([this] { Control<QAction>("mnuNewWebMonitor").trigger(); },
                             [](wizards::FrmWizWeb& wizard) {
                               Part<QLineEdit>(wizard, "txtMonitorName").setText(QStringLiteral("a"));
                               Click(Part<QPushButton>(wizard, "cmdOK"));
                               wizard.reject();
                             });
  const auto boxes = dialogs.TakeBoxes();
  ASSERT_EQ(boxes.size(), 1U);
  EXPECT_NE(boxes[0].text.find("no greeting"), std::string::npos) << boxes[0].text;
  EXPECT_TRUE(engine.TakeCalls().empty());
  for (const char* entry : {"mnuDelete", "mnuStart", "mnuStop"}) {
    Control<QAction>(entry).setEnabled(true);
    Control<QAction>(entry).trigger();
  }
  EXPECT_TRUE(engine.TakeCalls().empty());
}

TEST_F(WindowTest, ASecondClickDoesNotReachWhatLayBeneathADialog) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  ClickNode("WebMonitor Of a");
  auto& beneath = Part<QPushButton>(*bas.PageForms[0], "cmdHelp");
  const auto place = beneath.mapToGlobal(beneath.rect().center());
  QDialog dialog(form.get());
  QPushButton ok(&dialog);
  QObject::connect(&ok, &QPushButton::clicked, &dialog, &QDialog::accept);
  dialog.move(place - QPoint(20, 10));
  dialog.setModal(true);
  dialog.show();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&dialog));
  // QTest's own clicks are never double clicks.
  const auto click = [&place](QWidget& window, int milliseconds) {
    const QPointF local = window.mapFromGlobal(place);
    qt_handleMouseEvent(window.windowHandle(), local, place, Qt::LeftButton, Qt::LeftButton,
                        QEvent::MouseButtonPress, {}, milliseconds);
    qt_handleMouseEvent(window.windowHandle(), local, place, {}, Qt::LeftButton, QEvent::MouseButtonRelease,
                        {}, milliseconds + 20);
  };
  int pressed = 0;
  QObject::connect(&beneath, &QPushButton::pressed, [&pressed] { ++pressed; });
  dialogs.Announce();  // the help is missing
  constexpr int FirstClick = 1'000'000;
  click(dialog, FirstClick);
  EXPECT_FALSE(dialog.isVisible());
  click(*form, FirstClick + 100);
  EXPECT_EQ(pressed, 0);
  click(*form, FirstClick + 1000);
  EXPECT_EQ(pressed, 1);
}

TEST_F(WindowTest, CtrlSpaceTakesNoSelectionFromTheTree) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  auto& tree = Control<QTreeView>("TvCtrl");
  ClickNode("WebMonitor Of a");
  (void)engine.TakeCalls();
  QTest::keyClick(&tree, Qt::Key_Space, Qt::ControlModifier);
  EXPECT_TRUE(tree.selectionModel()->isSelected(tree.currentIndex()));
  EXPECT_TRUE(engine.TakeCalls().empty()) << "nor is it a click";
}

}  // namespace
}  // namespace norvane::tests
