#include <QMenu>
#include <QTest>
#include <QTreeView>
#include <QWindow>

#include "console/shared/MonitorTree.h"
#include "pages/FrmPop3Monitor.h"
#include "pages/FrmSmtpMonitor.h"
#include "pages/frmWebMonitor.h"
#include "tests/support/ConsoleFixture.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::Box;
using Calls = std::vector<std::string>;

const EngineError Broken(EngineErrorCode::Failed, "broken");

class TreeTest : public ConsoleFixture {
 protected:
  /// The class names of the pages on show.
  [[nodiscard]] std::vector<std::string> ShownPages() const {
    std::vector<std::string> shown;
    for (const auto& page : bas.PageForms)
      if (page && page->isVisible()) shown.emplace_back(page->metaObject()->className());
    return shown;
  }
  [[nodiscard]] bool ListIsShown() const { return Control<QTreeView>("LstV").isVisible(); }
};

TEST_F(TreeTest, ClickOnAMonitorShowsItsPage) {
  StartWith({{"WebMonitor Of a", "Enable"},
             {"Pop3Monitor Of b", "Disable"},
             {"SmtpMonitor Of c", "Enable"},
             {"WebMonitor Of d", "odd"}});
  struct Row {
    const char* node;
    const char* page;
    std::size_t slot;
    const char* enabled;
  };
  const Row rows[] = {
      {"WebMonitor Of a", "norvane::pages::frmWebMonitor", 0,
       "mnuControl delete stop property mnuDelete mnuStop"},
      {"Pop3Monitor Of b", "norvane::pages::FrmPop3Monitor", 1,
       "mnuControl delete start property mnuDelete mnuStart"},
      {"SmtpMonitor Of c", "norvane::pages::FrmSmtpMonitor", 2,
       "mnuControl delete stop property mnuDelete mnuStop"},
      {"WebMonitor Of d", "norvane::pages::frmWebMonitor", 0,
       "mnuControl delete start property mnuDelete mnuStart"},
      {"WebMonitor Of a", "norvane::pages::frmWebMonitor", 0,
       "mnuControl delete stop property mnuDelete mnuStop"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.node);
    ClickNode(row.node);
    const std::string name = std::string("\"") + row.node + "\"";
    EXPECT_EQ(TakeConsoleCalls(), (Calls{"SetMonitorName(" + name + ")", "Resolve(" + name + ")",
                                         "GetMonitor", "Kind", "TypeName", "Name", R"(GetAttr("Status"))"}));
    EXPECT_EQ(ShownPages(), Calls{row.page});
    EXPECT_EQ(bas.PageForms[row.slot]->metaObject()->className(), std::string(row.page));
    EXPECT_EQ(bas.PageForms[row.slot]->pos(), QPoint(1, 1));
    EXPECT_FALSE(ListIsShown());
    EXPECT_EQ(Caption(), std::string("Norvane ---- ") + row.node);
    EXPECT_EQ(EnabledCommands(), row.enabled);
    EXPECT_EQ(bas.CurrentMonitor->Name(), row.node);
    (void)engine.TakeCalls();
  }
  ClickNode("");
  EXPECT_TRUE(ShownPages().empty());
  EXPECT_TRUE(ListIsShown());
  EXPECT_EQ(Caption(), "Norvane");
  EXPECT_EQ(EnabledCommands(), "property");
  EXPECT_EQ(Column(3).size(), 4u);
}

TEST_F(TreeTest, ANameStandsInTheTitleToTheLetter) {
  for (const std::string name : {"WebMonitor Of a[*]", "WebMonitor Of [*][*]&&"}) {
    StartWith({{name, "Enable"}});
    ClickNode(name);
    EXPECT_EQ(form->windowHandle()->title().toStdString(), "Norvane ---- " + name);
    form.reset();
    form = std::make_unique<console::FrmStart>(bas);
  }
}

TEST_F(TreeTest, MonitorWithoutPage) {
  engine.Place("WebMonitor Of kind", {{"Status", "Enable"}}, 1);
  engine.Place("FtpMonitor Of type", {{"Status", "Enable"}});
  Start();
  ClickNode("WebMonitor Of kind");
  EXPECT_EQ(EnabledCommands(), "mnuControl delete property");
  EXPECT_EQ(Caption(), "Norvane");
  EXPECT_FALSE(ListIsShown());
  ClickNode("FtpMonitor Of type");
  EXPECT_EQ(EnabledCommands(), "mnuControl delete stop property mnuDelete mnuStop");
  EXPECT_EQ(Caption(), "Norvane");
  EXPECT_FALSE(ListIsShown());
  EXPECT_TRUE(ShownPages().empty());
}

TEST_F(TreeTest, MonitorThatIsGoneGivesAMessage) {
  StartWith({{"WebMonitor Of a", "Enable"}, {"Pop3Monitor Of b", "Disable"}});
  ClickNode("WebMonitor Of a");
  engine.FailOnce("Resolve", Broken);
  dialogs.Announce();
  ClickNode("Pop3Monitor Of b");
  EXPECT_EQ(
      dialogs.TakeBoxes(),
      (std::vector<Box>{{.title = "Restart",
                         .text = "Can not access this monitor, maybe you have restarted your service, thus "
                                 "you must restart this program",
                         .icon = BoxIcon::Information}}));
  EXPECT_EQ(Caption(), "Norvane ---- WebMonitor Of a");
  EXPECT_EQ(ShownPages(), Calls{"norvane::pages::frmWebMonitor"});
  EXPECT_EQ(EnabledCommands(), "mnuControl delete stop property mnuDelete mnuStop");
  EXPECT_EQ(bas.CurrentMonitor->Name(), "WebMonitor Of a");
  EXPECT_EQ(ended, 0);
}

TEST_F(TreeTest, LaterFailureOfAClickGivesItsReason) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  for (const char* operation : {"GetMonitor", "Kind", "TypeName", "Name", "GetAttr"}) {
    SCOPED_TRACE(operation);
    engine.FailOnce(operation, Broken);
    dialogs.Announce();
    ClickNode("WebMonitor Of a");
    EXPECT_EQ(dialogs.TakeBoxes(),
              (std::vector<Box>{{.title = "Error", .text = "broken", .icon = BoxIcon::Critical}}));
  }
}

TEST_F(TreeTest, OnlyPlainClicksAndTheKeyboardSelect) {
  StartWith({{"WebMonitor Of a", "Enable"}, {"WebMonitor Of b", "Enable"}});
  auto& tree = Control<QTreeView>("TvCtrl");
  const auto press = [&](const char* node, Qt::MouseButton button, Qt::KeyboardModifiers modifiers) {
    QTest::mouseClick(tree.viewport(), button, modifiers, tree.visualRect(NodeIndex(node)).center());
  };
  const std::string root = "LocalHost---" + bas.MachineName;
  struct Row {
    const char* name;
    std::function<void()> act;
    std::string selected;
    bool clicked;
  };
  const Row rows[] = {
      {"right", [&] { press("WebMonitor Of a", Qt::RightButton, {}); }, root, false},
      {"control", [&] { press("WebMonitor Of a", Qt::LeftButton, Qt::ControlModifier); }, root, false},
      {"shift", [&] { press("WebMonitor Of a", Qt::LeftButton, Qt::ShiftModifier); }, root, false},
      {"left", [&] { press("WebMonitor Of a", Qt::LeftButton, {}); }, "WebMonitor Of a", true},
      {"left again", [&] { press("WebMonitor Of a", Qt::LeftButton, {}); }, "WebMonitor Of a", true},
      {"down", [&] { QTest::keyClick(&tree, Qt::Key_Down); }, "WebMonitor Of b", true},
      {"down at the end", [&] { QTest::keyClick(&tree, Qt::Key_Down); }, "WebMonitor Of b", false},
      {"control up", [&] { QTest::keyClick(&tree, Qt::Key_Up, Qt::ControlModifier); }, "WebMonitor Of a",
       true},
      {"empty space",
       [&] {
         QTest::mouseClick(tree.viewport(), Qt::LeftButton, {}, QPoint(5, tree.viewport()->height() - 5));
       },
       "WebMonitor Of a", false},
      {"home", [&] { QTest::keyClick(&tree, Qt::Key_Home); }, root, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    (void)engine.TakeCalls();
    row.act();
    EXPECT_EQ(SelectedText(), row.selected);
    EXPECT_EQ(!engine.TakeCalls().empty(), row.clicked);
    EXPECT_TRUE(tree.selectionModel()->isSelected(tree.currentIndex()));
  }
}

TEST_F(TreeTest, WizardsReachTheTreeThroughMainBas) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  auto& tree = *bas.Tree;
  EXPECT_EQ(tree.MonitorTexts(), Calls{"WebMonitor Of a"});
  engine.Place("SmtpMonitor Of new", {{"Status", "Disable"}});
  const auto& node = tree.AddMonitorNode("SmtpMonitor Of new", "SmtpMonitor_Stop");
  EXPECT_EQ(node.key, "mSmtpMonitor Of new");
  EXPECT_EQ(SelectedText(), "LocalHost---" + bas.MachineName);
  tree.SelectNode(node);
  EXPECT_EQ(SelectedText(), "SmtpMonitor Of new");
  EXPECT_TRUE(engine.TakeCalls().empty()) << "marking a node as selected is no click";
  tree.TvCtrl_NodeClick(node);
  EXPECT_EQ(Caption(), "Norvane ---- SmtpMonitor Of new");
  ClickNode("");
  EXPECT_EQ(Column(0), (Calls{"WebMonitor", "SmtpMonitor_Stop"}));
}

}  // namespace
}  // namespace norvane::tests
