#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>

#include "tests/pages/PageTest.h"

namespace norvane::tests {
namespace {

using settings::Type;

const std::vector<std::string> PagerTypes = {"a=Pager", "b=Call by modem", "c=", "d=Phone"};

class PageEnablingTest : public PageTest {
 protected:
  /// What is checked and open in the notification: "Pager: Frame2".
  [[nodiscard]] std::string Notification() const {
    std::string state;
    for (const char* box : {"chkByEmail", "chkByPager"})
      if (IsChecked(box)) state += std::string(box) + " ";
    for (const char* control : {"Frame1", "Frame2"})
      if (IsOpen(control)) state += std::string(control) + " ";
    return state;
  }
  [[nodiscard]] QComboBox& List() const { return Control<QComboBox>("cmbPagerType"); }
};

TEST_F(PageEnablingTest, EmailAndPagerExcludeEachOther) {
  for (const auto type : AllTypes) {
    SCOPED_TRACE(settings::TypeName(type));
    NewPage(type);
    Load();
    EXPECT_EQ(Notification(), "");
    struct Row {
      const char* clicked;
      const char* state;
    };
    for (const auto& row : {Row{"chkByEmail", "chkByEmail Frame1 "}, Row{"chkByPager", "chkByPager Frame2 "},
                            Row{"chkByEmail", "chkByEmail Frame1 "}, Row{"chkByEmail", ""},
                            Row{"chkByPager", "chkByPager Frame2 "}, Row{"chkByPager", ""}}) {
      Click(row.clicked);
      EXPECT_EQ(Notification(), row.state);
      EXPECT_EQ(Control("cmdTestEmail").isEnabled(), IsChecked("chkByEmail"));
      EXPECT_EQ(Control("cmdTestPager").isEnabled(), IsChecked("chkByPager"));
    }
  }
}

TEST_F(PageEnablingTest, APickOfAPagerTypeOpensOrShutsTheMessageAtOnce) {
  bas.PagerTypes = PagerTypes;
  for (const auto type : AllTypes) {
    NewPage(type);
    ASSERT_EQ(List().count(), 4) << "a page that is loaded after the list has come shows it";
    Load({{"Monitor_Notify Mode", InternetCall("0")}});
    for (const auto& [entry, open] : {std::pair(1, false), {0, true}, {2, false}, {3, true}, {-1, false}}) {
      SCOPED_TRACE(std::string(settings::TypeName(type)) + " entry " + std::to_string(entry));
      Control("cmdApply").setEnabled(false);
      List().setCurrentIndex(entry);
      EXPECT_EQ(IsOpen("txtPagerMsg"), open);
      EXPECT_TRUE(IsOpen("cmdApply"));
    }
    Click("chkInetCall");
    EXPECT_FALSE(IsOpen("cmbPagerType"));
    EXPECT_FALSE(IsOpen("txtPagerMsg"));
    Click("chkInetCall");
    EXPECT_TRUE(IsOpen("cmbPagerType"));
    EXPECT_TRUE(IsOpen("txtPagerMsg")) << "whatever the list says";
  }
}

TEST_F(PageEnablingTest, WhatALoadLeavesOpen) {
  bas.PagerTypes = PagerTypes;
  struct Row {
    const char* name;
    const char* before;  // mode of the monitor that was shown last; "" is none, a digit an internet call
    const char* mode;
    int selected;
    bool listIsOpen;
    bool messageOnWeb;
    bool messageOnMail;
  };
  const Row rows[] = {
      {"internet call", "", "0", 0, true, true, true},
      {"call by modem", "", "1", 1, true, true, false},
      {"type without a name", "", "2", 2, true, true, false},
      {"type that the list lacks", "0", "4", -1, true, true, false},
      {"direct call, nothing selected before", "", "TEL://", -1, false, false, false},
      {"direct call, a type selected before", "3", "TEL://", 3, false, false, true},
      {"direct call, call by modem before", "1", "TEL://", 1, false, false, false},
      {"none, an internet call before", "3", "", 3, true, true, true},
      {"e-mail, an internet call before", "1", "SMTP://m;", 1, true, true, false},
  };
  const auto mode = [this](const char* text) {
    const bool entry = *text >= '0' && *text <= '9';
    return entry ? InternetCall(text) : std::string(text);
  };
  for (const auto type : AllTypes)
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(settings::TypeName(type)) + ": " + row.name);
      NewPage(type);
      Load({{"Monitor_Notify Mode", mode(row.before)}});
      Load({{"Monitor_Notify Mode", mode(row.mode)}});
      EXPECT_EQ(List().currentIndex(), row.selected);
      EXPECT_EQ(IsOpen("cmbPagerType"), row.listIsOpen);
      EXPECT_EQ(IsOpen("txtPagerMsg"), type == Type::Web ? row.messageOnWeb : row.messageOnMail);
      EXPECT_FALSE(IsOpen("cmdApply"));
    }
}

TEST_F(PageEnablingTest, EveryChangeCanBeApplied) {
  bas.PagerTypes = PagerTypes;
  for (const auto type : AllTypes) {
    NewPage(type);
    Load({{"Monitor_Notify Mode", InternetCall("0")}});
    std::vector<std::pair<std::string, std::function<void()>>> changes;
    for (auto* box : page->findChildren<QLineEdit*>())
      changes.emplace_back(box->objectName().toStdString(), [box] { box->setText(QStringLiteral("new")); });
    EXPECT_EQ(changes.size(), type == Type::Web ? 14u : 15u);
    for (const char* name : {"chkByEmail", "chkByPager", "chkInetCall", "chkDefaultCmd", "optFlag_0"})
      if (page->findChild<QWidget*>(QLatin1String(name)) != nullptr)
        changes.emplace_back(name, [this, name] { Control<QAbstractButton>(name).toggle(); });
    changes.emplace_back("cmbPagerType", [this] { List().setCurrentIndex(3); });
    for (const auto& [name, change] : changes) {
      SCOPED_TRACE(std::string(settings::TypeName(type)) + " " + name);
      Click("cmdRestore");
      ASSERT_FALSE(IsOpen("cmdApply"));
      change();
      EXPECT_TRUE(IsOpen("cmdApply"));
    }
  }
}

TEST_F(PageEnablingTest, TheDefaultCommandShutsOnesOwn) {
  NewPage(Type::Web);
  Load({{"Monitor_Command", "webbounce.EXE"}});
  EXPECT_TRUE(IsChecked("chkDefaultCmd"));
  EXPECT_FALSE(IsOpen("fam"));
  EXPECT_FALSE(Control("cmdBrowse_0").isEnabled());
  Click("chkDefaultCmd");
  EXPECT_TRUE(Control("txtLaunchCmd").isEnabled());
  Click("chkDefaultCmd");
  EXPECT_FALSE(Control("txtLaunchCmd").isEnabled());
  Load({{"Monitor_Command", "bin/WebBounce.exe"}});
  EXPECT_FALSE(IsChecked("chkDefaultCmd"));
  EXPECT_TRUE(Control("cmdBrowse_0").isEnabled());
}

}  // namespace
}  // namespace norvane::tests
