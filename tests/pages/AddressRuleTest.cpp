#include <QApplication>
#include <QLineEdit>
#include <QTest>

#include "tests/pages/PageTest.h"

namespace norvane::tests {
namespace {

class AddressRuleTest : public PageTest {
 protected:
  /// The user is in the server's name, with an empty addressee.
  void Begin(const char* server, const char* to = "") {
    NewPage(settings::Type::Smtp);
    Load({{"MonitorExt_To", to}, {"Monitor_Parameter", server}});
    ShowTabOf(Control("txtMonitorPoint"));
    Control("txtMonitorPoint").setFocus(Qt::MouseFocusReason);
    ASSERT_TRUE(Control("txtMonitorPoint").hasFocus());
  }
  void PressKey(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(&window, key, modifiers);
  }
};

TEST_F(AddressRuleTest, EveryWayOutProposesTheServer) {
  const std::pair<const char*, std::function<void()>> ways[] = {
      {"mouse", [this] { Click("txtInterval"); }},
      {"Tab", [this] { PressKey(Qt::Key_Tab); }},
      {"Shift+Tab", [this] { PressKey(Qt::Key_Backtab, Qt::ShiftModifier); }},
      {"access key",
       [this] {
         dialogs.Announce();  // there is no help file
         PressKey(Qt::Key_H, Qt::AltModifier);
         EXPECT_TRUE(QTest::qWaitFor([this] { return !dialogs.TakeBoxes().empty(); }));
       }},
      {"another tab", [this] { ShowTabOf(Control("chkByEmail")); }},
  };
  for (const auto& [name, leave] : ways) {
    SCOPED_TRACE(name);
    Begin("mail.example.com");
    leave();
    EXPECT_EQ(Text("txtSmtpTo"), "@mail.example.com");
    EXPECT_TRUE(IsOpen("cmdApply"));
  }
}

TEST_F(AddressRuleTest, OnlyAnEmptyAddresseeIsFilled) {
  struct Row {
    const char* server;
    const char* to;
    const char* expected;
  };
  for (const auto& row : {Row{"mail", " ", " "}, Row{"mail", "a@b", "a@b"}, Row{"", "", "@"},
                          Row{" mail@x ", "", "@ mail@x "}}) {
    SCOPED_TRACE(std::string(row.server) + "|" + row.to);
    Begin(row.server, row.to);
    PressKey(Qt::Key_Tab);
    EXPECT_EQ(Text("txtSmtpTo"), row.expected);
    EXPECT_EQ(Text("txtSmtpFrom"), "from@example.com");
  }
}

TEST_F(AddressRuleTest, ItRunsBeforeTheHandlerOfTheButton) {
  const std::pair<const char*, std::function<void()>> ways[] = {
      {"mouse", [this] { Click("cmdApply"); }},
      {"access key", [this] { PressKey(Qt::Key_A, Qt::AltModifier); }},
  };
  for (const auto& [name, press] : ways) {
    SCOPED_TRACE(name);
    Begin("mail");
    SetText("txtMonitorPoint", "relay");
    dialogs.Announce();
    press();
    std::vector<Box> boxes;
    EXPECT_TRUE(QTest::qWaitFor([&] { return !(boxes = dialogs.TakeBoxes()).empty(); }));
    EXPECT_EQ(boxes, std::vector{ErrorBox("Invalid smtp TO account")});
    EXPECT_EQ(Text("txtSmtpTo"), "@relay");
  }
}

TEST_F(AddressRuleTest, WhatIsNoMoveLeavesTheAddresseeAlone) {
  Begin("mail");
  QWidget other;
  other.show();
  other.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
  EXPECT_EQ(Text("txtSmtpTo"), "") << "another window";
  window.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  ASSERT_TRUE(Control("txtMonitorPoint").hasFocus());
  page->RefreshData();
  EXPECT_EQ(Text("txtSmtpTo"), "") << "a load";
  EXPECT_FALSE(IsOpen("cmdApply"));
  Control("txtInterval").setFocus();
  SetText("txtSmtpTo", "");
  dialogs.Announce();
  Click("cmdApply");
  EXPECT_EQ(dialogs.TakeBoxes(), std::vector{ErrorBox("Invalid smtp To title")}) << "elsewhere all the time";
}

}  // namespace
}  // namespace norvane::tests
