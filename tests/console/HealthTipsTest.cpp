#include <QTreeView>

#include "tests/support/ConsoleFixture.h"

namespace norvane::tests {
namespace {

class HealthTipsTest : public ConsoleFixture {
 protected:
  [[nodiscard]] static std::string TipOf(const QModelIndex& index) {
    return index.data(Qt::ToolTipRole).toString().toStdString();
  }
  [[nodiscard]] std::string RootTip() { return TipOf(RootIndex()); }
  [[nodiscard]] std::string RowTip(int row) {
    return TipOf(Control<QTreeView>("LstV").model()->index(row, 0));
  }
};

TEST_F(HealthTipsTest, TheRootTellsWhatIsWrongAndRowsThatTheyAreOld) {
  StartWith({{"WebMonitor Of a", "Enable"}, {"WebMonitor Of b", "Enable"}, {"WebMonitor Of c", "Enable"}});
  form->Timer1_Timer();
  EXPECT_EQ(RootTip(), "");
  const auto good = RowTip(0);
  engine.status.conditions = {{"disk <b>full</b>", std::chrono::system_clock::from_time_t(86400)}};
  engine.status.overdue = {{"WebMonitor Of b", std::chrono::system_clock::from_time_t(86400)},
                           {"WebMonitor Of c", {}}};
  form->Timer1_Timer();
  form->Timer1_Timer();
  EXPECT_NE(RootTip().find("1970-01-02 00:00 disk &lt;b&gt;full"), std::string::npos) << RootTip();
  EXPECT_EQ(RowTip(0), good);
  EXPECT_NE(RowTip(1).find("no check since 1970-01-02 00:00, three intervals"), std::string::npos)
      << RowTip(1);
  EXPECT_NE(RowTip(2).find("no check yet"), std::string::npos) << RowTip(2);
  engine.answersStatus = false;
  form->Timer1_Timer();
  form->Timer1_Timer();
  EXPECT_NE(RootTip().find("no answer from the engine since "), std::string::npos) << RootTip();
  EXPECT_NE(RowTip(0).find("no answer from the engine since "), std::string::npos) << RowTip(0);
  engine.answersStatus = true;
  engine.status = {};
  form->Timer1_Timer();
  form->Timer1_Timer();
  EXPECT_EQ(RootTip(), "");
  EXPECT_EQ(RowTip(0), good);
}

TEST_F(HealthTipsTest, NodesAndRowsTellHowTheirMonitorIs) {
  const struct {
    const char* name;
    const char* status;
    const char* result;
    bool wasChecked;
    const char* lines;
  } rows[] = {
      {"WebMonitor Of <b>", "Enable", "Ok", true,
       "WebMonitor Of &lt;b&gt;\nOk since 1970-01-02 00:00\nthe check at 1970-01-02 00:00 took 0 ms"},
      {"Pop3Monitor Of failed", "Enable", "HTTP <404>", true,
       "Pop3Monitor Of failed\nfailing since 1970-01-02 00:00\nreason: HTTP &lt;404&gt;\n"
       "the check at 1970-01-02 00:00 took 0 ms"},
      {"WebMonitor Of new", "Enable", "", false, "WebMonitor Of new\nnot checked yet"},
      {"WebMonitor Of restarted", "Enable", "was down", false,
       "WebMonitor Of restarted\nnot checked yet\nreason: was down"},
      {"SmtpMonitor Of stopped", "Disable", "Ok", false, "SmtpMonitor Of stopped\nstopped"},
  };
  std::vector<std::pair<std::string, std::string>> monitors;
  for (const auto& row : rows)
    monitors.emplace_back(row.name, row.status);
  StartWith(monitors);
  int number = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    auto& monitor = engine.At(row.name);
    monitor.attributes["Monitor_Result"] = row.result;
    if (row.wasChecked) monitor.since = std::chrono::system_clock::from_time_t(86400);
    EXPECT_EQ(RowTip(number), "<p style=\"white-space:pre-wrap\">" + std::string(row.lines) + "</p>");
    EXPECT_EQ(TipOf(NodeIndex(row.name)), RowTip(number));
    ++number;
  }
  engine.EndEngine();
  EXPECT_NE(RowTip(0).find("WebMonitor Of"), std::string::npos) << "a tool tip is no place for an error";
}

}  // namespace
}  // namespace norvane::tests
