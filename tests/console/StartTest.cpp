#include <QMenu>
#include <QTest>
#include <QTreeView>

#include "tests/support/ConsoleFixture.h"
#include "tests/support/Files.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::Box;
using Calls = std::vector<std::string>;

const EngineError Broken(EngineErrorCode::Failed, "broken");

class StartTest : public ConsoleFixture {
 protected:
  void WriteDataFile() {
    WriteFile(bas.DataFile(), "some data");
    engine.Files()[bas.DataFile()] = {
        {.name = "WebMonitor Of shop", .attributes = {{"Status", "Enable"}, {"Monitor_Result", "Ok"}}},
        {.name = "ServerMonitor Of host", .attributes = {}},
        {.name = "SmtpMonitor Of post", .attributes = {{"Status", "Disable"}}}};
  }
};

TEST_F(StartTest, CallsTheEngineInThisOrder) {
  WriteDataFile();
  Start();
  const std::string classId = R"(SetClassId("{1B2D038B-C28B-11D3-9CCC-00A0246E266E}"))";
  const std::string store = R"(GetComponent("{24ADEE03-682A-11D3-9CA3-00A0246E266E}"))";
  const std::string list = R"(GetComponent("{722FC7DE-64E6-11D3-9CA3-00A0246E266E}"))";
  const std::string machine = "SetMachine(\"" + bas.MachineName + "\")";
  const std::string data = "\"" + folder.Path() + "/NorvaneEngine.dat\"";
  const std::string log = "\"" + folder.Path() + "/log/NorvaneLog%d%m%y.log\"";
  EXPECT_EQ(engine.TakeCalls(), (Calls{machine,
                                       classId,
                                       "GetRoot",
                                       store,
                                       "Load(" + data + ")",

                                       R"(SetService("NorvaneEngine"))",
                                       "SetValue(\"BackupFile\", " + data + ")",
                                       "SetValue(\"LogFile\", " + log + ")",
                                       "Commit",
                                       R"(GetValue("ControlPass"))",
                                       R"(Open("fake control pass"))",

                                       machine,
                                       classId,
                                       "GetRoot",
                                       store,  //
                                       machine,
                                       classId,
                                       "GetRoot",
                                       list,

                                       "Count",  //
                                       "Item(1)",
                                       "TypeName",
                                       "Name",
                                       "Name",
                                       R"(GetAttr("Status"))",
                                       "TypeName",
                                       "TypeName",  //
                                       "Item(2)",
                                       "TypeName",  //
                                       "Item(3)",
                                       "TypeName",
                                       "Name",
                                       "Name",
                                       R"(GetAttr("Status"))",
                                       "TypeName",
                                       "TypeName",  //
                                       "Count",

                                       R"(SetMonitorName("WebMonitor Of shop"))",
                                       R"(Resolve("WebMonitor Of shop"))",
                                       "GetMonitor",
                                       R"(GetAttr("Status"))",
                                       R"(GetAttr("Monitor_Result"))",
                                       R"(SetMonitorName("SmtpMonitor Of post"))",
                                       R"(Resolve("SmtpMonitor Of post"))",
                                       "GetMonitor",
                                       R"(GetAttr("Status"))"}));
  EXPECT_EQ(Column(0), (Calls{"WebMonitor", "SmtpMonitor_Stop"}));
  EXPECT_EQ(Column(1), (Calls{"Start", "Stop"}));
  EXPECT_EQ(Column(2), (Calls{"Ok", ""}));
  EXPECT_EQ(Column(3), (Calls{"WebMonitor Of shop", "SmtpMonitor Of post"}));
  EXPECT_EQ(SelectedText(), "LocalHost---" + bas.MachineName);
  EXPECT_TRUE(Control<QTreeView>("TvCtrl").isExpanded(RootIndex()));
  EXPECT_EQ(dialogs.pendingText, "Your request is processing, please wait ... ...");
  EXPECT_EQ(dialogs.pendingTitle, "Wait Please");
}

TEST_F(StartTest, MissingDataFileIsNotLoaded) {
  Start();
  EXPECT_EQ(engine.Calls().front(), R"(SetService("NorvaneEngine"))");
  EXPECT_EQ(Caption(), "Norvane");
}

TEST_F(StartTest, FailureOfTheDataFileIsToldAndTheStartGoesOn) {
  for (const char* operation : {"SetMachine", "GetRoot", "GetComponent", "Load"}) {
    SCOPED_TRACE(operation);
    WriteDataFile();
    form = std::make_unique<console::FrmStart>(bas);
    engine.FailOnce(operation, Broken);
    dialogs.Announce();
    Start();
    EXPECT_EQ(dialogs.TakeBoxes(), (std::vector<Box>{{.title = "Error",
                                                      .text = "Can not load " + bas.DataFile() + ": broken",
                                                      .icon = BoxIcon::Critical}}));
    EXPECT_EQ(Caption(), "Norvane");
    EXPECT_TRUE(Control<QTreeView>("LstV").isVisible());
  }
}

TEST_F(StartTest, FailedConnectShowsInTheCaptionAlone) {
  engine.Place("WebMonitor Of shop", {{"Status", "Enable"}});
  for (const char* operation : {"SetService", "SetValue", "Commit", "GetValue", "Open", "SetMachine",
                                "GetRoot", "GetComponent", "Count", "Item", "Name", "GetAttr"}) {
    SCOPED_TRACE(operation);
    form.reset();
    form = std::make_unique<console::FrmStart>(bas);
    engine.FailOnce(operation, Broken);
    Start();
    EXPECT_EQ(Caption(), "Norvane - can not connect to the monitor engine");
    EXPECT_TRUE(form->isVisible());
    EXPECT_TRUE(Control<QMenu>("mnuNew").isEnabled());
    EXPECT_TRUE(Control<QAction>("ToolBar_new").isEnabled());
    EXPECT_EQ(EnabledCommands(), "property mnuStart mnuStop") << "as designed";
  }
}

TEST_F(StartTest, EngineWithoutShownMonitorsGivesTheRootAlone) {
  const std::vector<std::pair<const char*, std::vector<std::string>>> rows = {
      {"empty", {}}, {"servers only", {"ServerMonitor Of a", "ServerMonitor Of b"}}};
  for (const auto& [name, monitors] : rows) {
    SCOPED_TRACE(name);
    form.reset();
    form = std::make_unique<console::FrmStart>(bas);
    for (const auto& monitor : monitors)
      engine.Place(monitor);
    Start();
    EXPECT_EQ(Caption(), "Norvane");
    EXPECT_TRUE(form->MonitorTexts().empty());
    EXPECT_TRUE(Column(0).empty());
    EXPECT_TRUE(Control<QTreeView>("LstV").isVisible());
    EXPECT_EQ(SelectedText(), "LocalHost---" + bas.MachineName);
  }
}

TEST_F(StartTest, ServiceLostInTheFirstPollEndsTheConsole) {
  engine.Place("WebMonitor Of shop");
  engine.FailAlways("Resolve", Broken);
  dialogs.Announce();
  Start();
  EXPECT_EQ(dialogs.TakeBoxes().at(0).title, "Restart");
  EXPECT_EQ(ended, 1);
}

TEST_F(StartTest, MinimisedWindowConnectsOnceRestored) {
  engine.Place("WebMonitor Of shop");
  Start([](auto& window) { window.setWindowState(Qt::WindowMinimized); });
  QTest::qWait(0);
  EXPECT_TRUE(engine.TakeCalls().empty());
  form->setWindowState(Qt::WindowNoState);
  ASSERT_TRUE(QTest::qWaitFor([this] { return !engine.Calls().empty(); }));
  EXPECT_EQ(Column(3), Calls{"WebMonitor Of shop"});

  const auto geometry = form->geometry();
  (void)engine.TakeCalls();
  form->showMinimized();
  form->showNormal();
  QTest::qWait(0);
  EXPECT_TRUE(engine.TakeCalls().empty());
  EXPECT_EQ(form->size(), geometry.size());
}

TEST_F(StartTest, StateOfAMonitorGivesItsImage) {
  engine.Place("WebMonitor Of a", {{"Status", "Enable"}});
  engine.Place("Pop3Monitor Of b", {{"Status", "Disable"}});
  engine.Place("SmtpMonitor Of c", {{"Status", "disable"}});
  engine.Place("WebMonitor Of d");
  Start();
  EXPECT_EQ(Column(0), (Calls{"WebMonitor", "Pop3Monitor_Stop", "SmtpMonitor", "WebMonitor"}));
  EXPECT_EQ(Column(1), (Calls{"Start", "Stop", "Start", "Start"}));
}

}  // namespace
}  // namespace norvane::tests
