#include <QComboBox>
#include <QTest>
#include <QToolButton>
#include <fstream>
#include <utility>

#include "tests/pages/PageTest.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using settings::Type;

const EngineError Broken(EngineErrorCode::TimedOut, "no answer");

class PageActionsTest : public PageTest {};

TEST_F(PageActionsTest, TestMonitorTellsTheResult) {
  struct Row {
    const char* name;
    std::int32_t result;
    const char* fails;
    Box box;
    bool hourglass;  // while the box is open
  };
  const Row rows[] = {
      {"good",
       0,
       nullptr,
       {.title = "Norvane", .text = "Test Successfully", .icon = BoxIcon::Information},
       true},
      {"bad", -1, nullptr, ErrorBox("Test Monitor Failure"), true},
      {"no runner", 0, "Runner", ErrorBox("Test this monitor failure", BoxIcon::Exclamation), false},
      {"no check", 0, "Monitor", ErrorBox("Test this monitor failure", BoxIcon::Exclamation), false},
  };
  for (const auto type : AllTypes)
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(settings::TypeName(type)) + ": " + row.name);
      NewPage(type);
      Load();
      SetText("txtLogFile", "other.log");
      engine.monitorAnswer = {.result = row.result, .replaceBy = ""};
      if (row.fails != nullptr) engine.FailOnce(row.fails, Broken);
      engine.During("Monitor", [this] {
        EXPECT_TRUE(dialogs.hourglass);
        EXPECT_FALSE(IsOpen("cmdApply")) << "saved before the check";
        EXPECT_EQ(Stored().at("Monitor_LogFile"), "other.log");
      });
      dialogs.Announce();
      dialogs.duringBox = [&] { EXPECT_EQ(dialogs.hourglass, row.hourglass); };
      Click("cmdTest");
      EXPECT_EQ(dialogs.TakeBoxes(), std::vector{row.box});
      EXPECT_FALSE(dialogs.hourglass);
    }
}

TEST_F(PageActionsTest, OnlyTheWebPageTestsInSpiteOfABrokenRule) {
  for (const auto type : AllTypes) {
    SCOPED_TRACE(settings::TypeName(type));
    NewPage(type);
    Load();
    SetText("txtInterval", "-1");
    std::vector<Box> boxes = {ErrorBox("invalid monitor interval")};
    if (type == Type::Web)
      boxes.push_back({.title = "Norvane", .text = "Test Successfully", .icon = BoxIcon::Information});
    for (std::size_t box = 0; box < boxes.size(); ++box)
      dialogs.Announce();
    Click("cmdTest");
    EXPECT_EQ(dialogs.TakeBoxes(), boxes);
    EXPECT_EQ(engine.TakeCalls().empty(), type != Type::Web);
    EXPECT_TRUE(IsOpen("cmdApply"));
    EXPECT_EQ(Stored().at("Monitor_InterVal (s)"), "60");
  }
}

TEST_F(PageActionsTest, ATestMessageGoesOutAsStored) {
  struct Row {
    const char* name;
    std::int32_t result;
    const char* fails;
    bool told;
  };
  for (const auto type : AllTypes)
    for (const char* button : {"cmdTestEmail", "cmdTestPager"})
      for (const auto& row : {Row{"good", 0, nullptr, false}, Row{"bad", -5, nullptr, true},
                              Row{"no runner", 0, "Runner", true}, Row{"no call", 0, "Notify", true}}) {
        SCOPED_TRACE(std::string(settings::TypeName(type)) + " " + button + ": " + row.name);
        NewPage(type);
        Load();
        Click(std::string_view(button) == "cmdTestEmail" ? "chkByEmail" : "chkByPager");
        engine.notifyAnswer = {.result = row.result, .replaceBy = ""};
        if (row.fails != nullptr) engine.FailOnce(row.fails, Broken);
        engine.During("Notify", [this] { EXPECT_TRUE(dialogs.hourglass); });
        if (row.told) dialogs.Announce();
        dialogs.duringBox = nullptr;
        Click(button);
        EXPECT_EQ(dialogs.TakeBoxes(),
                  row.told ? std::vector{ErrorBox("Send Message Failure")} : std::vector<Box>());
        EXPECT_TRUE(TakeCallsOf("SetAttr").empty());
        EXPECT_TRUE(IsOpen("cmdApply")) << "what was changed is still not stored";
        EXPECT_FALSE(dialogs.hourglass);
      }
}

TEST_F(PageActionsTest, TheRunnerMayHandBackAnotherMonitor) {
  NewPage(Type::Web);
  engine.Place("WebMonitor Of other", {{"Monitor_LogFile", "other.log"}});
  struct Row {
    const char* button;
    FakeEngine::RunnerAnswer& answer;
  };
  for (const auto& row : {Row{"cmdTest", engine.monitorAnswer}, Row{"cmdTestEmail", engine.notifyAnswer}}) {
    SCOPED_TRACE(row.button);
    Load({{"Monitor_Notify Mode", "SMTP://m;"}, {"Monitor_Notify Pager", "a@ex.com"}});
    row.answer = {.result = 0, .replaceBy = "WebMonitor Of other"};
    if (std::string_view(row.button) == "cmdTest") dialogs.Announce();
    Click(row.button);
    (void)dialogs.TakeBoxes();
    EXPECT_EQ(bas.CurrentMonitor->Name(), "WebMonitor Of other");
    Click("cmdRestore");
    EXPECT_EQ(Text("txtLogFile"), "other.log");
  }
}

TEST_F(PageActionsTest, BrowsingKeepsTheLastChosenName) {
  for (const auto type : AllTypes) {
    SCOPED_TRACE(settings::TypeName(type));
    NewPage(type);
    Load({{"Monitor_Command", "first.sh"}, {"Monitor_Command_Succ", "second.sh"}});
    struct Row {
      const char* button;
      std::optional<std::string> chosen;
      const char* failing;
      const char* restarting;
    };
    for (const auto& row :
         {Row{"cmdBrowse_0", std::nullopt, "", "second.sh"}, Row{"cmdBrowse_1", "/bin/up", "", "/bin/up"},
          Row{"cmdBrowse_0", std::nullopt, "/bin/up", "/bin/up"},
          Row{"cmdBrowse_0", "/bin/down", "/bin/down", "/bin/up"}}) {
      dialogs.AnnounceFile(row.chosen);
      Click(row.button);
      EXPECT_EQ(Text("txtLaunchCmd"), row.failing);
      EXPECT_EQ(Text("txtLaunchUpCmd"), row.restarting);
      EXPECT_EQ(dialogs.fileRequests.back().startFolder, "/");
    }
    EXPECT_EQ(dialogs.fileRequests.back().filter,
              "Execute file(*.exe;*.com;*.bat)|*.com;*.exe;*.bat; |All file(*.*)|*.*;");
  }
}

TEST_F(PageActionsTest, ArrowsStepTheirField) {
  for (const auto type : AllTypes) {
    NewPage(type);
    Load();
    struct Row {
      const char* spinner;
      const char* field;
    };
    for (const auto& row : {Row{"udInterval", "txtInterval"}, Row{"upWaitTime", "txtWaitTime"},
                            Row{"UpDown1", "txtRetrytime"}, Row{"upRetryTimes", "txtRetryTimes"}}) {
      SCOPED_TRACE(std::string(settings::TypeName(type)) + " " + row.spinner);
      auto& spinner = Control(row.spinner);
      ShowTabOf(spinner);
      const auto press = [&spinner](const char* arrow) {
        QTest::mouseClick(spinner.findChild<QToolButton*>(QLatin1String(arrow)), Qt::LeftButton);
      };
      SetText(row.field, "10");
      Control("cmdApply").setEnabled(false);
      press("Up");
      EXPECT_EQ(Text(row.field), "11") << "there is no range";
      EXPECT_TRUE(IsOpen("cmdApply"));
      press("Down");
      press("Down");
      EXPECT_EQ(Text(row.field), "9");
      SetText(row.field, "abc");
      press("Down");
      EXPECT_EQ(Text(row.field), "0");
    }
  }
}

TEST_F(PageActionsTest, HelpIsOpened) {
  std::ofstream(bas.PathInFolder("help.htm")) << "help";
  for (const auto type : AllTypes) {
    NewPage(type);
    Click("cmdHelp");
    EXPECT_EQ(std::exchange(dialogs.opened, {}), Calls{bas.PathInFolder("help.htm")});
  }
}

TEST_F(PageActionsTest, AnEmptyListFillsWhenItIsOpened) {
  NewPage(Type::Pop3);
  Load({{"Monitor_Notify Mode", InternetCall("1")}});
  auto& list = Control<QComboBox>("cmbPagerType");
  EXPECT_EQ(list.count(), 0);
  bas.PagerTypes = {"a=Pager", "b=Phone"};
  ShowTabOf(list);
  for (int times = 0; times < 2; ++times) {
    list.showPopup();
    EXPECT_EQ(list.count(), 2);
    EXPECT_EQ(list.currentIndex(), -1);
    list.hidePopup();
  }
  EXPECT_FALSE(IsOpen("cmdApply")) << "the user has not picked one";
}

}  // namespace
}  // namespace norvane::tests
