#include <QAction>
#include <QLineEdit>
#include <QPushButton>
#include <algorithm>

#include "tests/support/ConsoleFixture.h"
#include "wizards/FrmWizWeb.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;

const EngineError TimedOut(EngineErrorCode::TimedOut, "no answer from the engine in time");

/// Calls whose answers do not come in time.
class LostAnswersTest : public ConsoleFixture {
 protected:
  void AddShop() {
    InForm<wizards::FrmWizWeb>([this] { Control<QAction>("mnuNewWebMonitor").trigger(); },
                               [](wizards::FrmWizWeb& wizard) {
                                 Part<QLineEdit>(wizard, "txtMonitorName").setText(QStringLiteral("shop"));
                                 Click(Part<QPushButton>(wizard, "cmdOK"));
                                 wizard.reject();
                               });
  }
  void Update() {
    engine.Update();
    FollowChanges();
  }
  [[nodiscard]] std::vector<std::string> Nodes() const { return form->MonitorTexts(); }
  [[nodiscard]] std::string TextOfBox() {
    const auto boxes = dialogs.TakeBoxes();
    return boxes.size() == 1 ? boxes[0].text : std::to_string(boxes.size()) + " boxes";
  }
};

TEST_F(LostAnswersTest, AnAdditionThatTookEffectGoesOn) {
  StartWith({});
  engine.FailOnce("Add", TimedOut);
  engine.During("Add", [this] { engine.Place("WebMonitor Of shop", {{"Status", "Disable"}}); });
  AddShop();
  EXPECT_EQ(Nodes(), std::vector<std::string>{"WebMonitor Of shop"});
  EXPECT_EQ(engine.At("WebMonitor Of shop").attributes["Monitor_Parameter"], "http://");
}

TEST_F(LostAnswersTest, OneThatTakesEffectLaterShowsThen) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  engine.FailOnce("Add", TimedOut);
  dialogs.Announce();
  AddShop();
  EXPECT_NE(TextOfBox().find("no answer from the engine in time"), std::string::npos);
  Update();
  EXPECT_EQ(Nodes(), std::vector<std::string>{"WebMonitor Of a"});
  engine.Place("WebMonitor Of shop", {{"Status", "Disable"}});
  Update();
  EXPECT_EQ(Nodes(), (std::vector<std::string>{"WebMonitor Of a", "WebMonitor Of shop"}));
  EXPECT_EQ(Cell(1, 0), "WebMonitor_Stop");
  engine.EndEngine();
  Update();
  EXPECT_EQ(Nodes().size(), 2U) << "an engine that is gone has removed nothing";
}

TEST_F(LostAnswersTest, ACreationAsksNothingMore) {
  StartWith({});
  engine.FailOnce("SetAttr", TimedOut, 2);
  dialogs.Announce();
  AddShop();
  const auto text = TextOfBox();
  EXPECT_NE(text.find("SuccessFlag: no answer"), std::string::npos) << text;
  EXPECT_NE(text.find("Init: not tried"), std::string::npos) << text;
  for (const auto& call : engine.TakeCalls())
    EXPECT_FALSE(call.starts_with("SetAttr(\"Monitor_Notify") || call.starts_with("Init")) << call;
}

TEST_F(LostAnswersTest, StartStopAndDeletionShowWhatIsSo) {
  struct Row {
    const char* button;
    const char* call;
    const char* before;
    std::vector<std::string> after;  ///< of its row in the list
  };
  const Row rows[] = {{"start", "SetAttr", "Disable", {"Start"}},
                      {"stop", "SetAttr", "Enable", {"Stop"}},
                      {"delete", "Remove", "Enable", {}}};
  const auto nameOf = [](const Row& row, bool isLate) {
    return std::string("WebMonitor Of ") + row.button + (isLate ? " late" : "");
  };
  for (const auto& row : rows)
    for (const bool isLate : {false, true})
      engine.Place(nameOf(row, isLate), {{"Status", row.before}});
  Start();
  for (const auto& row : rows) {
    for (const bool isLate : {false, true}) {
      const auto name = nameOf(row, isLate);
      SCOPED_TRACE(name);
      const auto takeEffect = [&] {
        if (row.after.empty())
          engine.Drop(name);
        else
          engine.At(name).attributes["Status"] = row.before == std::string("Enable") ? "Disable" : "Enable";
      };
      ClickNode(name);
      engine.FailOnce(row.call, TimedOut);
      engine.During(row.call, [&] {
        if (!isLate) takeEffect();
      });
      if (row.after.empty()) dialogs.Announce(BoxChoice::Yes);
      if (isLate) dialogs.Announce();
      PressButton(row.button);
      engine.During(row.call, [] {});
      if (isLate) takeEffect();
      Update();
      ClickNode("");
      std::vector<std::string> shown;
      for (int at = 0; at < static_cast<int>(Column(3).size()); ++at)
        if (Cell(at, 3) == name) shown.push_back(Cell(at, 1));
      EXPECT_EQ(shown, row.after);
      EXPECT_EQ(std::ranges::count(Nodes(), name), static_cast<int>(row.after.size()));
    }
  }
}

}  // namespace
}  // namespace norvane::tests
