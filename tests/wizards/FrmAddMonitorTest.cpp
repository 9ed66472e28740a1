#include "wizards/FrmAddMonitor.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QTest>
#include <QTimer>

#include "console/engine/EngineError.h"
#include "tests/support/ConsoleFixture.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::Box;
using Calls = std::vector<std::string>;

class AddMonitorTest : public ConsoleFixture {
 protected:
  void Open(const std::vector<std::pair<std::string, std::string>>& monitors = {}) {
    StartWith(monitors);
    (void)engine.TakeCalls();
    dialog = std::make_unique<wizards::FrmAddMonitor>(bas);
    dialog->show();
  }
  template <class T>
  [[nodiscard]] T& Part(const char* name) {
    return driver::Part<T>(*dialog, name);
  }
  [[nodiscard]] std::string Name() { return Part<QLineEdit>("txtMonitorName").text().toStdString(); }
  void PressOk() { dialog->cmdOK_Click(); }
  [[nodiscard]] Calls Writes() {
    Calls writes;
    for (auto& call : engine.TakeCalls())
      if (call.starts_with("Add(") || call.starts_with("SetAttr") || call.starts_with("Init"))
        writes.push_back(std::move(call));
    return writes;
  }

  std::unique_ptr<wizards::FrmAddMonitor> dialog;
};

TEST_F(AddMonitorTest, OffersTheEnginesTypesAndFreeNumbers) {
  engine.Types() = {"SmtpMonitor", "ServerMonitor", "WebMonitor"};
  Open({{"SmtpMonitor Of 1", "Disable"}, {"smtpmonitor of 2", "Disable"}});
  auto& types = Part<QComboBox>("cmbMonitorType");
  ASSERT_EQ(types.count(), 2);
  EXPECT_EQ(types.currentText(), QLatin1String("SmtpMonitor"));
  EXPECT_EQ(Name(), "3");
  Part<QLineEdit>("txtMonitorName").setText(QStringLiteral("mine"));
  types.setCurrentIndex(1);
  EXPECT_EQ(types.currentText(), QLatin1String("WebMonitor"));
  EXPECT_EQ(Name(), "1");
  QTest::keyClicks(&Part<QLineEdit>("txtMonitorName"), QString(30, QLatin1Char('x')));
  EXPECT_EQ(Name().size(), 25U);
}

TEST_F(AddMonitorTest, AddsABareMonitor) {
  Open();
  Part<QComboBox>("cmbMonitorType").setCurrentText(QStringLiteral("SmtpMonitor"));
  Part<QLineEdit>("txtMonitorName").setText(QStringLiteral(" mail "));
  PressOk();
  EXPECT_EQ(Writes(), Calls{"Add(\"SmtpMonitor Of mail\")"});
  EXPECT_FALSE(dialog->isVisible());
  EXPECT_EQ(SelectedText(), "SmtpMonitor Of mail");
  EXPECT_EQ(bas.CurrentMonitor->Name(), "SmtpMonitor Of mail");
}

TEST_F(AddMonitorTest, GoesOnWithTheWizardForAWebMonitor) {
  Open();
  Part<QComboBox>("cmbMonitorType").setCurrentText(QStringLiteral("WebMonitor"));
  QString followed;
  QTimer::singleShot(0, [&followed] {
    followed = QApplication::activeModalWidget()->windowTitle();
    QApplication::activeModalWidget()->close();
  });
  PressOk();
  EXPECT_EQ(followed, QLatin1String("Add WebMonitor Wizard"));
  EXPECT_EQ(Writes(), Calls{"Add(\"WebMonitor Of 1\")"});
}

TEST_F(AddMonitorTest, RefusesANameThatIsNoneOrTaken) {
  Open({{"WebMonitor Of Shop", "Disable"}});
  Part<QComboBox>("cmbMonitorType").setCurrentText(QStringLiteral("WebMonitor"));
  Part<QLineEdit>("txtMonitorName").setText(QStringLiteral("  "));
  PressOk();
  EXPECT_EQ(Name(), "");
  Part<QLineEdit>("txtMonitorName").setText(QStringLiteral(" shop "));
  dialogs.Announce();
  PressOk();
  EXPECT_EQ(dialogs.TakeBoxes(), (std::vector<Box>{{.title = "Error",
                                                    .text = "shop already exists in the service list",
                                                    .icon = BoxIcon::Information}}));
  EXPECT_TRUE(dialog->isVisible());
  EXPECT_EQ(Writes(), Calls{});
}

TEST_F(AddMonitorTest, StaysOpenWhenTheEngineFails) {
  Start();
  for (const char* operation : {"GetComponent", "Add"}) {
    SCOPED_TRACE(operation);
    engine.FailOnce(operation, EngineError(EngineErrorCode::Failed, "broken"));
    dialogs.Announce();
    dialog = std::make_unique<wizards::FrmAddMonitor>(bas);
    dialog->show();
    if (std::string(operation) == "Add") QTest::mouseClick(&Part<QWidget>("cmdOK"), Qt::LeftButton);
    EXPECT_EQ(dialogs.TakeBoxes(),
              (std::vector<Box>{{.title = "Error", .text = "broken", .icon = BoxIcon::Critical}}));
    EXPECT_TRUE(dialog->isVisible());
  }
  EXPECT_TRUE(form->MonitorTexts().empty());
}

}  // namespace
}  // namespace norvane::tests
