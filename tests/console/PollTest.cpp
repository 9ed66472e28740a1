#include <QGuiApplication>
#include <QPalette>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include "tests/support/ConsoleFixture.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::Box;

const EngineError Broken(EngineErrorCode::Failed, "broken");
const QColor Blue(0, 0, 255);
const QColor Red(255, 0, 0);

class PollTest : public ConsoleFixture {
 protected:
  [[nodiscard]] QColor Colour(int row, int column) const {
    return Control<QTreeView>("LstV").model()->index(row, column).data(Qt::ForegroundRole).value<QColor>();
  }
  const QColor windowText = QGuiApplication::palette().color(QPalette::WindowText);
};

TEST_F(PollTest, StateOfAMonitorGivesColourAndResult) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  struct Row {
    const char* status;
    const char* result;
    QColor colour;
    const char* text;
  };
  const Row rows[] = {
      {"Enable", "Ok", Blue, "Ok"},     {"Enable", "timed out", Red, "Error"}, {"Enable", "", Red, "Error"},
      {"Enable", "ok", Red, "Error"},   {"Disable", "Ok", windowText, ""},     {"", "Ok", windowText, ""},
      {"enable", "Ok", windowText, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.status) + "/" + row.result);
    engine.At("WebMonitor Of a").attributes = {{"Status", row.status}, {"Monitor_Result", row.result}};
    form->Timer1_Timer();
    EXPECT_EQ(Cell(0, 2), row.text);
    for (int column = 0; column < 4; ++column)
      EXPECT_EQ(Colour(0, column), row.colour);
    EXPECT_EQ(Cell(0, 1), "Start") << "the poll does not write the status";
  }
}

TEST_F(PollTest, FailureToReadClearsTheRowAndGoesOn) {
  StartWith({{"WebMonitor Of a", "Enable"}, {"WebMonitor Of b", "Enable"}});
  for (const char* name : {"WebMonitor Of a", "WebMonitor Of b"})
    engine.At(name).attributes["Monitor_Result"] = "Ok";
  for (const char* operation : {"GetMonitor", "GetAttr"}) {
    SCOPED_TRACE(operation);
    form->Timer1_Timer();
    EXPECT_EQ(Column(2), (std::vector<std::string>{"Ok", "Ok"}));
    engine.FailOnce(operation, Broken);
    form->Timer1_Timer();
    EXPECT_EQ(Column(2), (std::vector<std::string>{"", "Ok"}));
    EXPECT_EQ(Colour(0, 0), windowText);
  }
  form->Timer1_Timer();
  EXPECT_EQ(Cell(0, 2), "Ok") << "the guard came down after the failures";
}

TEST_F(PollTest, LostServiceEndsTheConsole) {
  StartWith({{"WebMonitor Of a", "Enable"}, {"WebMonitor Of b", "Enable"}});
  engine.EndEngine();
  dialogs.Announce();
  form->Timer1_Timer();
  EXPECT_EQ(
      dialogs.TakeBoxes(),
      (std::vector<Box>{{.title = "Restart",
                         .text = "You have restarted the service, so this program must be restarted too",
                         .icon = BoxIcon::Exclamation}}));
  EXPECT_EQ(ended, 1);
  EXPECT_EQ(engine.Calls().back(), R"(Resolve("WebMonitor Of a"))") << "nothing more is asked, nothing saved";
}

TEST_F(PollTest, PollsOnlyTheShownListAndOneAtATime) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  const auto current = bas.CurrentMonitor;
  ClickNode("WebMonitor Of a");
  (void)engine.TakeCalls();
  form->Timer1_Timer();
  EXPECT_TRUE(engine.TakeCalls().empty()) << "a page is on show";
  ClickNode("");
  (void)engine.TakeCalls();
  int inner = 0;
  engine.During("Resolve", [&] {
    const auto before = engine.Calls().size();
    form->Timer1_Timer();
    EXPECT_EQ(engine.Calls().size(), before);
    ++inner;
  });
  form->Timer1_Timer();
  EXPECT_EQ(inner, 1);
}

TEST_F(PollTest, TimerPolls) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  auto& timer = Control<QTimer>("Timer1");
  EXPECT_EQ(timer.interval(), 5000);
  timer.setInterval(1);
  EXPECT_TRUE(QTest::qWaitFor([this] { return !engine.Calls().empty(); }));
}

}  // namespace
}  // namespace norvane::tests
