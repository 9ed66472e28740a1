#include "support/PagerTypes.h"

#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <optional>
#include <stdexcept>

#include "console/shared/ConnectHandler.h"
#include "console/shared/DropDownList.h"
#include "console/shared/MainBas.h"
#include "loopback/TempFolder.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/FakeEngine.h"
#include "tests/support/Files.h"

namespace norvane::tests {
namespace {

using namespace loopback;

using namespace std::chrono_literals;
using console::shared::Box;
using console::shared::BoxIcon;
using Names = std::vector<std::string>;

const std::string Gateway = "http://pager.example.com/scripts/sms.dll?[Call]";

const Box NoGateway{.title = "Attention",
                    .text =
                        "Because You can not connect to our internet pager server, you can not use internet "
                        "pager service",
                    .icon = BoxIcon::Exclamation};

/// What the running console needs for its lists, and a form with one.
class PagerTypesTest : public ::testing::Test {
 protected:
  PagerTypesTest() {
    StartWith(Gateway);
    SetList({"0=Numeric pager\r\n1=Text pager\r\n2=Call by modem\r\n"});
  }
  void SetList(FakePage page) { engine.Pages()[Gateway + "cmd=10"] = std::move(page); }

  /// The console's start, with this gateway.
  void StartWith(const std::string& url) {
    WriteFile(folder.Path() + "/config.ini", "[gateway]\nurl=" + url + "\n");
    bas.emplace(engine, dialogs, folder.Path(), [] {});
  }
  [[nodiscard]] Names Entries() const {
    Names names;
    for (int entry = 0; entry < list.count(); ++entry)
      names.push_back(list.itemText(entry).toStdString());
    return names;
  }
  void Open() { support::OpenPagerTypes(*bas, list); }
  void ExpectFailure(std::chrono::milliseconds patience = support::PagerGatewayPatience) {
    dialogs.Announce();
    EXPECT_FALSE(support::LoadPagerTypes(*bas, &list, patience));
    EXPECT_EQ(dialogs.TakeBoxes(), std::vector<Box>{NoGateway});
    EXPECT_TRUE(bas->PagerTypes.empty());
    EXPECT_FALSE(dialogs.hourglass);
  }

  TempFolder folder;
  FakeEngine engine;
  FakeDialogs dialogs;
  std::optional<console::shared::MainBas> bas;
  console::shared::DropDownList list;
};

const Names FromGateway = {"Numeric pager", "Text pager", "Call by modem"};

TEST_F(PagerTypesTest, AListAsksTheGatewayWhenTheUserFirstOpensIt) {
  const std::pair<const char*, void (*)(console::shared::DropDownList&)> ways[] = {
      {"mouse", [](auto& box) { QTest::mousePress(&box, Qt::LeftButton); }},
      {"Alt+Down", [](auto& box) { QTest::keyClick(&box, Qt::Key_Down, Qt::AltModifier); }},
      {"F4", [](auto& box) { QTest::keyClick(&box, Qt::Key_F4); }},
  };
  for (const auto& [name, open] : ways) {
    SCOPED_TRACE(name);
    (void)engine.TakeCalls();
    bas->PagerTypes.clear();
    list.clear();
    list.show();
    const auto wired =
        QObject::connect(&list, &console::shared::DropDownList::DropDown, &list, [this] { Open(); });
    open(list);
    EXPECT_TRUE(list.view()->isVisible());
    list.hidePopup();
    open(list);
    list.hidePopup();
    QObject::disconnect(wired);
    EXPECT_EQ(Entries(), FromGateway);
    EXPECT_EQ(list.currentIndex(), -1);
    EXPECT_EQ(engine.Calls().size(), 1U);
  }
}

TEST_F(PagerTypesTest, OneRequestServesAllLists) {
  Open();
  EXPECT_EQ(Entries(), FromGateway);
  list.clear();
  Open();
  EXPECT_EQ(Entries(), FromGateway);
  list.clear();
  support::FillPagerTypes(*bas, list);
  EXPECT_EQ(Entries(), FromGateway);
  EXPECT_EQ(engine.Calls().size(), 1U);
  bas->ReleaseAll();
  EXPECT_TRUE(bas->PagerTypes.empty());
}

TEST_F(PagerTypesTest, TheReplyIsUtf8OrElseLatin1) {
  const std::pair<const char*, Names> rows[] = {
      {"0=Fun\xc3\xa9\r\n1=b=c\r\n2\r\n\r\nrest", {"Fun\xc3\xa9", "b=c", "2", ""}},
      {"0=Fun\xe9\r\n", {"Fun\xc3\xa9"}},
      {"\nno rows", {}},
  };
  for (const auto& [reply, names] : rows) {
    SCOPED_TRACE(reply);
    SetList({reply, "text/plain"});
    list.clear();
    EXPECT_TRUE(support::LoadPagerTypes(*bas, &list));
    EXPECT_EQ(Entries(), names);
  }
  EXPECT_TRUE(support::LoadPagerTypes(*bas, nullptr));
}

TEST_F(PagerTypesTest, WithoutAReplyABoxAppearsAndTheNextOpeningAsksAgain) {
  SetList({""});
  ExpectFailure();
  SetList({.body = "", .isComplete = false});
  ExpectFailure(100ms);
  EXPECT_EQ(engine.Calls().size(), 2U);
  SetList({"0=back\r\n"});
  Open();
  EXPECT_EQ(Entries(), Names{"back"});

  engine.Pages().clear();
  bas->PagerTypes.clear();
  ExpectFailure();
}

TEST_F(PagerTypesTest, OnlyAListIsShownAsOne) {
  const auto rows = [](int count, std::size_t size) {
    std::string text;
    for (int row = 0; row < count; ++row)
      text += std::string(size, 'x') + "\r\n";
    return text;
  };
  const std::pair<const char*, FakePage> bad[] = {
      {"HTTP error", {.body = "<html>\r\n404 Not Found\r\n", .status = 404}},
      {"gateway error", {.body = "0=A\r\n", .status = 502}},
      {"too many rows", {rows(1001, 1)}},
      {"row too long", {rows(1, 1001)}},
      {"too large", {rows(300, 1000)}},
  };
  for (const auto& [name, page] : bad) {
    SCOPED_TRACE(name);
    SetList(page);
    ExpectFailure();
    EXPECT_EQ(list.count(), 0);
  }
  for (auto page : {FakePage{.body = rows(1000, 200), .status = 203}, FakePage{rows(200, 1000)}}) {
    SetList(page);
    list.clear();
    EXPECT_TRUE(support::LoadPagerTypes(*bas, &list));
    EXPECT_EQ(list.count(), std::ranges::count(page.body, '\n'));
  }
}

TEST_F(PagerTypesTest, WhileTheGatewayIsSilentTheUserWaits) {
  SetList({.body = "", .isComplete = false});
  list.show();
  bool hourglass = false;
  bool opened = false;
  QObject::connect(&list, &console::shared::DropDownList::DropDown, [&opened] { opened = true; });
  QTimer::singleShot(50, &list, [&] {
    hourglass = dialogs.hourglass;
    QTest::mouseClick(&list, Qt::LeftButton);
  });
  ExpectFailure(300ms);
  EXPECT_TRUE(hourglass);
  EXPECT_FALSE(opened);
}

TEST_F(PagerTypesTest, AnAmbiguousGatewayStopsTheStart) {
  EXPECT_THROW(StartWith("http://mode.example.com/?"), std::invalid_argument);
  EXPECT_THROW(StartWith("pager.example.com/?"), std::invalid_argument);
}

TEST_F(PagerTypesTest, TheWheelTurnsOnlyAListWithTheFocus) {
  Open();
  list.setCurrentIndex(0);
  list.show();
  for (const bool focus : {false, true}) {
    SCOPED_TRACE(focus);
    if (focus) list.setFocus();
    list.activateWindow();
    EXPECT_TRUE(QTest::qWaitFor([&] { return list.isActiveWindow(); }));
    if (!focus) list.clearFocus();
    QWheelEvent wheel({5, 5}, list.mapToGlobal(QPointF(5, 5)), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&list, &wheel);
    EXPECT_EQ(list.currentIndex(), focus ? 1 : 0);
  }
}

}  // namespace
}  // namespace norvane::tests
