#include <QApplication>
#include <QMenu>
#include <QTest>
#include <QToolBar>

#include "tests/support/ConsoleFixture.h"
#include "tests/support/Files.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::Box;
using Calls = std::vector<std::string>;

const EngineError Broken(EngineErrorCode::Failed, "broken");

class CommandsTest : public ConsoleFixture {
 protected:
  [[nodiscard]] std::string Image(const std::string& text) const {
    for (const auto& node : {NodeIndex(text)})
      return static_cast<const console::TreeModel*>(node.model())->NodeAt(node)->image;
    return {};
  }
  [[nodiscard]] Calls WritesOf(const char* head) {
    Calls writes;
    for (auto& call : engine.TakeCalls())
      if (call.rfind(head, 0) == 0) writes.push_back(call);
    return writes;
  }
};

TEST_F(CommandsTest, StartAndStopWriteTheStatusAndRefresh) {
  StartWith({{"WebMonitor Of a", "Disable"}});
  ClickNode("WebMonitor Of a");
  struct Row {
    const char* name;
    std::function<void()> act;
    const char* status;
    const char* image;
    const char* enabled;
  };
  const char* running = "mnuControl delete stop property mnuDelete mnuStop";
  const char* stopped = "mnuControl delete start property mnuDelete mnuStart";
  const Row rows[] = {
      {"start button", [&] { PressButton("start"); }, "Enable", "WebMonitor", running},
      {"stop button", [&] { PressButton("stop"); }, "Disable", "WebMonitor_Stop", stopped},
      {"start menu", [&] { Control<QAction>("mnuStart").trigger(); }, "Enable", "WebMonitor", running},
      {"stop menu", [&] { Control<QAction>("mnuStop").trigger(); }, "Disable", "WebMonitor_Stop", stopped},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    (void)engine.TakeCalls();
    row.act();
    const std::string name = R"(("WebMonitor Of a"))";
    EXPECT_EQ(TakeConsoleCalls(),
              (Calls{"SetMonitorName" + name, "Resolve" + name, "GetMonitor",
                     std::string("SetAttr(\"Status\", \"") + row.status + "\")", "SetMonitorName" + name,
                     "Resolve" + name, "GetMonitor", "Kind", "TypeName", "Name", R"(GetAttr("Status"))"}));
    EXPECT_EQ(Image("WebMonitor Of a"), row.image);
    EXPECT_EQ(EnabledCommands(), row.enabled);
    EXPECT_EQ(SelectedText(), "WebMonitor Of a");
  }
}

TEST_F(CommandsTest, StartOfARunningImageLeavesIt) {
  StartWith({{"WebMonitor Of a", "odd"}});
  ClickNode("WebMonitor Of a");
  PressButton("start");
  EXPECT_EQ(Image("WebMonitor Of a"), "WebMonitor");
}

TEST_F(CommandsTest, FailedCommandLeavesEverythingAsItWas) {
  StartWith({{"WebMonitor Of a", "Disable"}, {"WebMonitor Of b", "Enable"}});
  const Box lost{.title = "Restart",
                 .text =
                     "Can not access this monitor, maybe you have restarted your service, thus you must "
                     "restart this program",
                 .icon = BoxIcon::Information};
  const auto error = [](const char* text) {
    return Box{.title = "Error", .text = text, .icon = BoxIcon::Critical};
  };
  struct Row {
    const char* button;
    const char* node;
    const char* failing;
    Box box;
  };
  const Row rows[] = {
      {"start", "WebMonitor Of a", "Resolve", lost},
      {"start", "WebMonitor Of a", "GetMonitor", error("Can not start WebMonitor Of a: broken")},
      {"start", "WebMonitor Of a", "SetAttr", error("Can not start WebMonitor Of a: broken")},
      {"stop", "WebMonitor Of b", "Resolve", lost},
      {"stop", "WebMonitor Of b", "SetAttr", error("Can not stop WebMonitor Of b: broken")},
      {"delete", "WebMonitor Of a", "Remove", error("Can not delete WebMonitor Of a: broken")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.button) + " with failing " + row.failing);
    ClickNode(row.node);
    const auto enabled = EnabledCommands();
    engine.FailOnce(row.failing, Broken);
    if (std::string(row.button) == "delete") dialogs.Announce(BoxChoice::Yes);
    dialogs.Announce();
    PressButton(row.button);
    EXPECT_EQ(dialogs.TakeBoxes().back(), row.box);
    EXPECT_EQ(SelectedText(), row.node);
    EXPECT_EQ(Image("WebMonitor Of a"), "WebMonitor_Stop");
    EXPECT_EQ(Image("WebMonitor Of b"), "WebMonitor");
    EXPECT_EQ(EnabledCommands(), enabled);
    EXPECT_EQ(Caption(), std::string("Norvane ---- ") + row.node);
  }
}

TEST_F(CommandsTest, DeleteAsksAndSelectsTheNeighbour) {
  StartWith({{"WebMonitor Of 1", "Enable"},
             {"WebMonitor Of 2", "Enable"},
             {"WebMonitor Of 3", "Enable"},
             {"WebMonitor Of 4", "Enable"}});
  struct Row {
    const char* deleted;
    std::string next;
  };
  const Row rows[] = {
      {"WebMonitor Of 1", "WebMonitor Of 2"},
      {"WebMonitor Of 4", "WebMonitor Of 3"},
      {"WebMonitor Of 2", "WebMonitor Of 3"},
      {"WebMonitor Of 3", "LocalHost---" + bas.MachineName},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.deleted);
    ClickNode(row.deleted);
    const std::string name = std::string("(\"") + row.deleted + "\")";
    const Box question{
        .title = "Norvane",
        .text = std::string("Are you sure you want to delete  [") + row.deleted + "]  monitor service",
        .icon = BoxIcon::Question,
        .buttons = BoxButtons::YesNo};

    (void)engine.TakeCalls();
    dialogs.Announce(BoxChoice::No);
    PressButton("delete");
    EXPECT_EQ(dialogs.TakeBoxes(), std::vector<Box>{question});
    EXPECT_TRUE(engine.TakeCalls().empty());
    EXPECT_EQ(SelectedText(), row.deleted);

    dialogs.Announce(BoxChoice::Yes);
    Control<QAction>("mnuDelete").trigger();
    EXPECT_EQ(dialogs.TakeBoxes(), std::vector<Box>{question});
    const auto calls = engine.TakeCalls();
    EXPECT_EQ((Calls{calls.at(0), calls.at(1)}), (Calls{"SetMonitorName" + name, "Remove" + name}));
    EXPECT_EQ(SelectedText(), row.next);
  }
  EXPECT_TRUE(Column(0).empty());
  EXPECT_TRUE(engine.Names().empty());
  EXPECT_EQ(Caption(), "Norvane");
}

TEST_F(CommandsTest, PropertyDoesNothing) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  for (const char* node : {"", "WebMonitor Of a"}) {
    ClickNode(node);
    (void)engine.TakeCalls();
    PressButton("property");
    EXPECT_TRUE(engine.TakeCalls().empty());
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
  }
}

TEST_F(CommandsTest, NewOpensTheMenuOfMonitorTypes) {
  StartWith({});
  PressButton("new");
  auto& menu = Control<QMenu>("mnuNew");
  EXPECT_EQ(QApplication::activePopupWidget(), &menu);
  for (const auto* entry : menu.actions())
    EXPECT_TRUE(entry->isEnabled());
  menu.close();
}

TEST_F(CommandsTest, HelpAndFeedback) {
  StartWith({});
  const std::string help = folder / "help.htm";
  const Box noHelp{
      .title = "Error", .text = "Help File Doesn't Exist In Installed Folder", .icon = BoxIcon::Critical};
  const Box noBrowser{.title = "Error",
                      .text =
                          "Your computer is not installed htm or html browser, or does not make htm "
                          "associate to the browser",
                      .icon = BoxIcon::Critical};
  const Box noFeedback{.title = "Norvane", .text = "can not get ini config of feed back"};
  struct Row {
    const char* name;
    const char* command;
    const char* helpFile;  // null: there is none
    const char* config;
    bool found;  // by the desktop
    Calls opened;
    std::vector<Box> boxes;
  };
  const Row rows[] = {
      {"help missing", "mnuhelphelp", nullptr, nullptr, true, {}, {noHelp}},
      {"help there", "mnuhelphelp", "<p>help", nullptr, true, {help}, {}},
      {"help gone meanwhile", "mnuhelphelp", "<p>help", nullptr, false, {help}, {noBrowser}},
      {"no config", "mnuFeedback", nullptr, nullptr, true, {}, {noFeedback}},
      {"other section", "mnuFeedback", nullptr, "[x]\nfeedback=a.htm\n", true, {}, {noFeedback}},
      {"blank", "mnuFeedback", nullptr, "[help]\nfeedback=\" \"\n", true, {}, {noFeedback}},
      {"address",
       "mnuFeedback",
       nullptr,
       "[help]\nfeedback=http://x.test/?a=1,2\n",
       true,
       {"http://x.test/?a=1,2"},
       {}},
      {"file that the desktop misses",
       "mnuFeedback",
       nullptr,
       "[help]\nfeedback=/no/such\n",
       false,
       {"/no/such"},
       {noBrowser}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::filesystem::remove(help);
    std::filesystem::remove(folder / "config.ini");
    if (row.helpFile) WriteFile(help, row.helpFile);
    if (row.config) WriteFile(folder / "config.ini", row.config);
    dialogs.openFindsFile = row.found;
    if (!row.boxes.empty()) dialogs.Announce();
    Control<QAction>(row.command).trigger();
    EXPECT_EQ(dialogs.TakeBoxes(), row.boxes);
    EXPECT_EQ(std::exchange(dialogs.opened, {}), row.opened);
  }
}

}  // namespace
}  // namespace norvane::tests
