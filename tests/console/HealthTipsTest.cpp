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
  EXPECT_EQ(RowTip(0), "");
  engine.status.conditions = {{"disk <b>full</b>", std::chrono::system_clock::from_time_t(86400)}};
  engine.status.overdue = {{"WebMonitor Of b", std::chrono::system_clock::from_time_t(86400)},
                           {"WebMonitor Of c", {}}};
  form->Timer1_Timer();
  form->Timer1_Timer();
  EXPECT_NE(RootTip().find("1970-01-02 00:00 disk &lt;b&gt;full"), std::string::npos) << RootTip();
  EXPECT_EQ(RowTip(0), "");
  EXPECT_NE(RowTip(1).find("no check since 1970-01-02 00:00, three intervals"), std::string::npos)
      << RowTip(1);
  EXPECT_NE(RowTip(2).find("no check yet"), std::string::npos) << RowTip(2);
  engine.answersStatus = false;
  form->Timer1_Timer();
  form->Timer1_Timer();
  EXPECT_NE(RootTip().find("no answer from the engine since "), std::string::npos) << RootTip();
  EXPECT_EQ(RowTip(0), RootTip());
  engine.answersStatus = true;
  engine.status = {};
  form->Timer1_Timer();
  form->Timer1_Timer();
  EXPECT_EQ(RootTip(), "");
  EXPECT_EQ(RowTip(0) + RowTip(1), "");
}

}  // namespace
}  // namespace norvane::tests
