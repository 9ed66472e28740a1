#include <QHeaderView>
#include <QTest>
#include <QTreeView>

#include "console/shared/Twips.h"
#include "tests/support/ConsoleFixture.h"

namespace norvane::tests {
namespace {

using Texts = std::vector<std::string>;

class ListTest : public ConsoleFixture {
 protected:
  void ClickColumn(int column) {
    auto& header = *Control<QTreeView>("LstV").header();
    QTest::mouseClick(header.viewport(), Qt::LeftButton, {},
                      QPoint(header.sectionViewportPosition(column) + 10, header.height() / 2));
  }
};

TEST_F(ListTest, ColumnClickSortsNowAndAtEachRebuild) {
  StartWith({{"WebMonitor Of b", "Enable"}, {"SmtpMonitor Of c", "Disable"}, {"WebMonitor Of A", "Disable"}});
  EXPECT_EQ(Column(3), (Texts{"WebMonitor Of b", "SmtpMonitor Of c", "WebMonitor Of A"}));
  ClickColumn(3);
  const Texts byName = {"SmtpMonitor Of c", "WebMonitor Of A", "WebMonitor Of b"};
  EXPECT_EQ(Column(3), byName);
  ClickColumn(3);
  EXPECT_EQ(Column(3), byName) << "a second click does not turn the order round";
  ClickNode("WebMonitor Of b");
  ClickNode("");
  EXPECT_EQ(Column(3), byName);
  ClickColumn(1);
  EXPECT_EQ(Column(3), (Texts{"WebMonitor Of b", "SmtpMonitor Of c", "WebMonitor Of A"}))
      << "rows of one status keep their order";
}

TEST_F(ListTest, PollDoesNotMoveSortedRows) {
  StartWith({{"WebMonitor Of a", "Enable"}, {"WebMonitor Of b", "Enable"}});
  engine.At("WebMonitor Of a").attributes["Monitor_Result"] = "Ok";
  form->Timer1_Timer();
  ClickColumn(2);
  EXPECT_EQ(Column(2), (Texts{"Error", "Ok"}));
  engine.At("WebMonitor Of a").attributes["Monitor_Result"] = "late";
  engine.At("WebMonitor Of b").attributes["Monitor_Result"] = "Ok";
  form->Timer1_Timer();
  EXPECT_EQ(Column(2), (Texts{"Ok", "Error"}));
  EXPECT_EQ(Column(3), (Texts{"WebMonitor Of b", "WebMonitor Of a"}));
}

TEST_F(ListTest, RowClickDisablesTheButtonsAndNotTheMenus) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  for (const char* key :
       {"ToolBar_delete", "ToolBar_start", "ToolBar_stop", "mnuDelete", "mnuStart", "mnuStop"})
    Control<QAction>(key).setEnabled(true);
  auto& list = Control<QTreeView>("LstV");
  const auto row = list.model()->index(0, 3);
  QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, list.visualRect(row).topLeft() + QPoint(5, 5));
  EXPECT_TRUE(list.selectionModel()->isSelected(row));
  EXPECT_EQ(EnabledCommands(), "property mnuDelete mnuStart mnuStop");
  form->Timer1_Timer();
  EXPECT_FALSE(list.selectionModel()->hasSelection()) << "a poll removes the selection";
}

TEST_F(ListTest, EachImageOfTheListIsDrawn) {
  const console::ImageList images;
  for (const char* key : {"Pop3Monitor", "global", "MonitorItem", "WebMonitor", "ServerMonitor",
                          "SmtpMonitor", "Pop3Monitor_Stop", "SmtpMonitor_Stop", "WebMonitor_Stop"}) {
    SCOPED_TRACE(key);
    const auto picture = images.Image(key).pixmap(16, 16).toImage();
    ASSERT_EQ(picture.size(), QSize(16, 16));
    int drawn = 0;
    for (int y = 0; y < picture.height(); ++y)
      for (int x = 0; x < picture.width(); ++x)
        drawn += qAlpha(picture.pixel(x, y)) > 0;
    EXPECT_GT(drawn, 30);
  }
  EXPECT_TRUE(images.Image("FtpMonitor").isNull());
  EXPECT_FALSE(images.Image("WebMonitor_Stop_Stop").isNull());
}

}  // namespace
}  // namespace norvane::tests
