// The search, the context menu and the other ways to a monitor that tree and list have.

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include "console/ClickTree.h"
#include "console/NodeDelegate.h"
#include "console/StatusList.h"
#include "tests/support/ConsoleFixture.h"

namespace norvane::tests {
namespace {

using Names = std::vector<std::string>;

class SearchTest : public ConsoleFixture {
 protected:
  void SetUp() override {
    StartWith({{"WebMonitor Of shop", "Enable"},
               {"Pop3Monitor Of post", "Enable"},
               {"SmtpMonitor Of relay", "Disable"}});
    engine.At("WebMonitor Of shop").attributes["Monitor_Result"] = "Ok";
    Tick();
  }
  void Tick() { QMetaObject::invokeMethod(&Part<QTimer>(*form, "Timer1"), "timeout"); }
  [[nodiscard]] QLineEdit& Field() const { return Control<QLineEdit>("txtSearch"); }
  [[nodiscard]] console::ClickTree& Tree() const { return Control<console::ClickTree>("TvCtrl"); }
  [[nodiscard]] console::StatusList& List() const { return Control<console::StatusList>("LstV"); }
  [[nodiscard]] std::string Counts() const { return Control<QLabel>("lblCounts").text().toStdString(); }

  /// The last words of the monitors that a view shows.
  [[nodiscard]] static Names Shown(const QTreeView& view, const QModelIndex& parent, int column) {
    Names names;
    for (int row = 0; row < view.model()->rowCount(parent); ++row) {
      const auto name = view.model()->index(row, column, parent).data().toString();
      if (!view.isRowHidden(row, parent)) names.push_back(name.section(QLatin1Char(' '), -1).toStdString());
    }
    return names;
  }
  [[nodiscard]] Names Nodes() const { return Shown(Tree(), RootIndex(), 0); }
  [[nodiscard]] Names Rows() const { return Shown(List(), {}, 3); }

  [[nodiscard]] QModelIndex Row(const std::string& name) const {
    const auto column = Column(3);
    const auto found = std::find(column.begin(), column.end(), name);
    return List().model()->index(static_cast<int>(found - column.begin()), 3);
  }
  /// Chooses an entry of the menu that comes up there; `offered` are those that could be chosen.
  void Choose(QTreeView& view, const QModelIndex& at, const char* entry) {
    const auto place = view.visualRect(at).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, place, view.viewport()->mapToGlobal(place));
    QApplication::sendEvent(view.viewport(), &event);
    auto* menu = QApplication::activePopupWidget();
    ASSERT_NE(menu, nullptr);
    offered.clear();
    for (auto* action : menu->actions()) {
      if (!action->isEnabled()) continue;
      offered.push_back(action->text().remove(QLatin1Char('&')).toStdString());
      if (offered.back() == entry) action->trigger();
    }
    menu->close();
  }
  Names offered;
  [[nodiscard]] std::string StatusOf(const std::string& name) { return engine.At(name).attributes["Status"]; }
};

TEST_F(SearchTest, LeavesWhatHasEachWordInItsNameOrIsSo) {
  const struct {
    const char* words;
    Names names;
  } rows[] = {
      {"SHOP", {"shop"}},  {"monitor of", {"shop", "post", "relay"}},
      {"p3 po", {"post"}}, {"error", {"post"}},
      {"ok", {"shop"}},    {"stopped", {"relay"}},
      {"smtp error", {}},  {"error pop", {"post"}},
      {"none", {}},        {" ", {"shop", "post", "relay"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.words);
    Field().setText(QString::fromUtf8(row.words));
    EXPECT_EQ(Nodes(), row.names);
    EXPECT_EQ(Rows(), row.names);
    EXPECT_EQ(List().EmptyText(), QStringLiteral("No monitor matches the search."));
  }
}

TEST_F(SearchTest, FollowsWhatChangesAndHidesNothingFromThePoll) {
  Field().setText(QStringLiteral("error"));
  engine.At("Pop3Monitor Of post").attributes["Monitor_Result"] = "Ok";
  engine.At("WebMonitor Of shop").attributes["Monitor_Result"] = "down";
  Tick();
  EXPECT_EQ(Rows(), Names{"shop"});
  EXPECT_EQ(Cell(1, 2), "Ok") << "of the hidden row";
  engine.Place("WebMonitor Of new", {{"Status", "Enable"}});
  engine.Place("WebMonitor Of idle", {{"Status", "Disable"}});
  engine.Update();
  FollowChanges();
  EXPECT_EQ(Nodes(), (Names{"shop", "new"}));
  EXPECT_EQ(Counts(), "2 of 5 failing, 2 stopped");
  ClickNode("");
  EXPECT_EQ(Rows(), (Names{"shop", "new"})) << "the list was built anew";
}

TEST_F(SearchTest, TheSelectedNodeStaysOnShow) {
  ClickNode("Pop3Monitor Of post");
  Field().setText(QStringLiteral("shop"));
  EXPECT_EQ(Nodes(), (Names{"shop", "post"}));
  ClickNode("WebMonitor Of shop");
  QCoreApplication::processEvents();
  EXPECT_EQ(Nodes(), Names{"shop"});
}

TEST_F(SearchTest, TheKeyboardReachesFieldListAndPage) {
  form->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(form.get()));
  QTest::keySequence(form.get(), QKeySequence::Find);
  EXPECT_TRUE(Field().hasFocus());
  QTest::keyClicks(&Field(), QStringLiteral("relay"));
  QTest::keyClick(&Field(), Qt::Key_Return);
  EXPECT_TRUE(List().hasFocus());
  QTest::keyClick(&List(), Qt::Key_Down);
  QTest::keyClick(&List(), Qt::Key_Return);
  EXPECT_EQ(SelectedText(), "SmtpMonitor Of relay");
  EXPECT_EQ(Caption(), "Norvane ---- SmtpMonitor Of relay");
  EXPECT_TRUE(Tree().hasFocus());
  QTest::keyClick(&Field(), Qt::Key_Escape);
  EXPECT_EQ(Field().text(), QString());
  EXPECT_EQ(Nodes().size(), 3U);
}

TEST_F(SearchTest, ADoubleClickOnARowOpensItsPage) {
  const auto place = List().visualRect(Row("Pop3Monitor Of post")).center();
  QTest::mouseDClick(List().viewport(), Qt::LeftButton, {}, place);
  EXPECT_EQ(Caption(), "Norvane ---- Pop3Monitor Of post");
  EXPECT_EQ(SelectedText(), "Pop3Monitor Of post");
}

TEST_F(SearchTest, TheMenuIsForItsMonitorAndNotForTheSelectedOne) {
  Choose(List(), Row("WebMonitor Of shop"), "Stop");
  EXPECT_EQ(offered, (Names{"Stop", "Delete", "Open"}));
  EXPECT_EQ(StatusOf("WebMonitor Of shop"), "Disable");
  EXPECT_EQ(Cell(0, 1), "Stop");
  EXPECT_EQ(Cell(0, 2), "") << "polled at once";
  Choose(List(), Row("WebMonitor Of shop"), "Open");
  auto& point = Part<QLineEdit>(*bas.PageForms[0], "txtMonitorPoint");
  point.setText(QStringLiteral("http://edited/"));
  Choose(Tree(), NodeIndex("SmtpMonitor Of relay"), "Start");
  EXPECT_EQ(offered, (Names{"Start", "Delete", "Open"}));
  EXPECT_EQ(StatusOf("SmtpMonitor Of relay"), "Enable");
  EXPECT_EQ(StatusOf("WebMonitor Of shop"), "Disable");
  dialogs.Announce(BoxChoice::Yes);
  Choose(Tree(), NodeIndex("Pop3Monitor Of post"), "Delete");
  EXPECT_NE(dialogs.TakeBoxes().at(0).text.find("[Pop3Monitor Of post]"), std::string::npos);
  EXPECT_EQ(Nodes(), (Names{"shop", "relay"}));
  EXPECT_EQ(Caption(), "Norvane ---- WebMonitor Of shop");
  EXPECT_EQ(point.text(), QStringLiteral("http://edited/")) << "of the page that stays";
}

TEST_F(SearchTest, AMarkIsInSightOnTheColumnThatOrdersTheList) {
  auto& header = *List().header();
  const auto captions = [&header] { return header.viewport()->grab().toImage(); };
  auto before = captions();
  for (int column = 0; column < header.count(); ++column) {
    const int left = header.sectionViewportPosition(column);
    QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, QPoint(left + 10, 5));
    const auto now = captions();
    EXPECT_NE(now, before) << column;
    before = now;
  }
  EXPECT_EQ(Column(3).front(), "Pop3Monitor Of post");
}

TEST(NodeDelegate, LeavesTheNameOfWhatIsTooWide) {
  class Delegate : public console::NodeDelegate {
   public:
    using NodeDelegate::initStyleOption;
  };
  QTreeWidget view;
  const int all = view.fontMetrics().horizontalAdvance(QStringLiteral("WebMonitor Of server 017"));
  const struct {
    const char* text;
    int width;
    const char* shown;
  } rows[] = {
      {"WebMonitor Of server 017", 2 * all, "WebMonitor Of server 017"},
      {"WebMonitor Of server 017", 4 * all / 5, "Web\u2026server 017"},
      {"WebMonitor Of server 017", all / 2, "server 017"},
      {"LocalHost---a machine of a long name", all / 2, "LocalHost---a machine of a long name"},
  };
  for (const auto& row : rows) {
    auto* item = new QTreeWidgetItem(&view, {QString::fromUtf8(row.text)});
    QStyleOptionViewItem option;
    option.widget = &view;
    option.rect = QRect(0, 0, row.width, 20);
    Delegate().initStyleOption(&option, view.indexFromItem(item));
    EXPECT_EQ(option.text.toStdString(), row.shown);
  }
}

}  // namespace
}  // namespace norvane::tests
