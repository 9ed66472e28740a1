#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QTabWidget>
#include <QVariant>
#include <algorithm>
#include <set>

#include "tests/pages/PageTest.h"
#include "tests/support/LargeFont.h"

namespace norvane::tests {
namespace {

using settings::All;
using settings::ByType;
using settings::Type;
using Texts = std::map<std::string, std::string>;

class PageFormsTest : public PageTest {
 protected:
  void ExpectThatEverythingHasRoom();
};

constexpr const char* None = nullptr;  // the page has no such control

constexpr ByType<const char*> OnWeb(const char* text) {
  return {text, None, None};
}
constexpr ByType<const char*> OnMail(const char* pop3, const char* smtp) {
  return {None, pop3, smtp};
}

TEST_F(PageFormsTest, CaptionsAndInitialTexts) {
  struct Row {
    const char* control;
    ByType<const char*> text;
  };
  const Row rows[] = {
      {"cmdTest", All("&Test Monitor")},
      {"cmdRestore", All("&Restore")},
      {"cmdApply", All("&Apply")},
      {"cmdHelp", All("&Help")},
      // General
      {"Frame6", OnWeb("Monitoring point")},
      {"Frame3", OnWeb("Successful Flag")},
      {"Command1", OnWeb("Check URL")},
      {"lbl", OnWeb("Wait for response ... ... ")},
      {"optFlag_0", OnWeb("By size")},
      {"optFlag_1", OnWeb("By flag string")},
      {"optFlag_2", OnWeb("By code summation")},
      {"txtBySize", OnWeb("")},
      {"txtMonitorPoint", {"http://www.example.com/index.htm", "mail.example.com", "mail.example.com"}},
      {"label1_0", OnMail("Pop3 Server Address", "Smtp Server Address")},
      {"label1_1", OnMail("Pop3 Account", "From Account")},
      {"label1_10", OnMail("(this account must have ONE email at least)", "(Any valid email account)")},
      {"label1_15", OnMail(None, "(full email account, must be served by the STMP)")},
      {"label1_18", {"second(s)", "Pop3 Password", "To Account"}},
      {"txtPop3Account", OnMail("test", None)},
      {"txtPop3Password", OnMail("test", None)},
      {"txtSmtpFrom", OnMail(None, "test@example.com")},
      {"txtSmtpTo", OnMail(None, "test@example.com")},
      {"label1_2", All("Monitoring Interval")},
      {"label1_3", All("Time Out")},
      {"label1_19", All("second(s)")},
      {"label1_20", OnMail("second(s)", "second(s)")},
      {"txtInterval", All("2")},
      {"txtWaitTime", All("2")},
      // Notification
      {"chkByEmail", All("By Email")},
      {"label1_6", All("Email Address")},
      {"label1_7", All("Subject")},
      {"label1_8", All("Smtp Server")},
      {"txtEmailAddr", All("")},
      {"txtSubject", All("")},
      {"txtSmtpServer", All("")},
      {"cmdTestEmail", All("Test")},
      {"chkByPager", All("By Pager&&Phone")},
      {"label1_9", All("Pager&&Phone Number")},
      {"chkInetCall", All("Use internet call")},
      {"label1_11", All("Short Message")},
      {"txtPagerNumber", All("12345678")},
      {"txtPagerMsg", All("Server down")},
      {"cmdTestPager", All("Test")},
      // Command
      {"Frame5", All("Command to launch")},
      {"fam", OnWeb("Customize your command")},
      {"chkDefaultCmd", OnWeb("Restart WWW server when detect error")},
      {"txtLaunchCmd", All("c:\\autoexec.bat")},
      {"cmdBrowse_0", All("&Browse...")},
      {"label1_14", All("Command to execute when server fails")},
      {"label1_12", All("time(s)")},
      {"txtRetrytime", All("2")},
      {"label1_4", All("Execute this command no more than")},
      {"label1_5", All("time(s) when the server keeps failure")},
      {"txtRetryTimes", All("2")},
      {"label1_16", All("Command to execute when server restarts")},
      {"txtLaunchUpCmd", All("c:\\autoexec.bat")},
      {"cmdBrowse_1", All("&Browse...")},
      {"label1_17", All("Monitor logfile")},
      {"txtLogFile", All("c:\\autoexec.bat")},
  };
  for (const auto type : AllTypes) {
    NewPage(type);
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(settings::TypeName(type)) + " " + row.control);
      const auto* control = page->findChild<QWidget*>(QLatin1String(row.control));
      ASSERT_EQ(control != nullptr, row.text.For(type) != None);
      if (control == nullptr) continue;
      const auto text = control->property("text").isValid() ? "text" : "title";
      EXPECT_EQ(control->property(text).toString().toStdString(), row.text.For(type));
    }
    const auto& tabs = Control<QTabWidget>("SSTab1");
    EXPECT_EQ(tabs.currentIndex(), 0);
    ASSERT_EQ(tabs.count(), 3);
    EXPECT_EQ(tabs.tabText(0), QStringLiteral("General"));
    EXPECT_EQ(tabs.tabText(1), QStringLiteral("Notification"));
    EXPECT_EQ(tabs.tabText(2), QStringLiteral("Command"));
  }
}

TEST_F(PageFormsTest, ToolTips) {
  const std::string retries =
      "No. of failures permissible before a notification message is sent to the administrator";
  const std::string restart =
      "Enter the command file (Optional) to execute upon successful restart of the server";
  const std::string log =
      "Path and name of the log file in which the server activities will be recorded(Recommended:use "
      "%d%m%y in your filename if you wish to extract the system date to uniquely identify the fiel)";
  const Texts common = {
      {"txtRetryTimes", retries}, {"label1_4", retries}, {"label1_12", log}, {"label1_16", restart}};

  Texts web = common;
  for (const char* option : {"optFlag_0", "optFlag_1", "optFlag_2"})
    web[option] = "if URL returns string size NOT equal the setting, then notify ERROR";

  Texts pop3 = common;
  const auto onBoth = [](Texts& tips, const char* label, const char* box, const std::string& tip) {
    tips[label] = tips[box] = tip;
  };
  onBoth(pop3, "label1_0", "txtMonitorPoint", "URL or IP address of the target server to be monitored");
  onBoth(pop3, "label1_1", "txtPop3Account", "Email address of a test account located on the target server");
  pop3["label1_10"] = "Email address of a test account located on the target server";
  onBoth(pop3, "label1_18", "txtPop3Password", "password of the test account");
  onBoth(pop3, "label1_2", "txtInterval", "The interval betwwen checks");
  onBoth(pop3, "label1_3", "txtWaitTime",
         "Elapse time taken to check the web page or file before Norvane reports an error");
  onBoth(pop3, "label1_6", "txtEmailAddr",
         "Email address of the person to contact in the event of server failure");
  onBoth(pop3, "label1_7", "txtSubject", "subject of the email message");
  onBoth(pop3, "label1_8", "txtSmtpServer", "Server through which the email message will be sent");
  onBoth(pop3, "label1_9", "txtPagerNumber", "Pager or mobile phone number of the contact person");
  pop3["cmbPagerType"] = "Medium used to initiate the call";
  pop3["label1_11"] = "Short descriptive message about the server problem";
  pop3["txtLaunchUpCmd"] = restart;
  onBoth(pop3, "label1_17", "txtLogFile", log);

  Texts smtp = common;
  onBoth(smtp, "label1_0", "txtMonitorPoint", "URL or IP address of the target srever to to monitored");
  onBoth(smtp, "label1_1", "txtSmtpFrom",
         "Email address of the test account located on the target srver used for testing the send function");
  onBoth(smtp, "label1_18", "txtSmtpTo",
         "Email address of the test account used for testing the smtp server");
  smtp["label1_10"] = smtp["label1_15"] = "Email address of a test account located on the target server";
  onBoth(smtp, "label1_2", "txtInterval", "Time interval between checks");
  onBoth(smtp, "label1_3", "txtWaitTime",
         "Elapsed time taken to check the smtp server before Norvane reports an error");

  for (const auto type : AllTypes) {
    SCOPED_TRACE(settings::TypeName(type));
    NewPage(type);
    Texts tips;
    for (const auto* control : page->findChildren<QWidget*>())
      if (!control->toolTip().isEmpty())
        tips[control->objectName().toStdString()] = control->toolTip().toStdString();
    EXPECT_EQ(tips, (ByType<Texts>{web, pop3, smtp}.For(type)));
  }
}

TEST_F(PageFormsTest, InitialStates) {
  for (const auto type : AllTypes) {
    SCOPED_TRACE(settings::TypeName(type));
    NewPage(type);
    EXPECT_TRUE(IsOpen("Frame1"));
    EXPECT_FALSE(IsOpen("Frame2"));
    EXPECT_FALSE(IsOpen("txtPagerMsg"));
    EXPECT_EQ(IsOpen("cmbPagerType"), type != Type::Web);
    for (const char* box : {"chkByEmail", "chkByPager", "chkInetCall"})
      EXPECT_FALSE(IsChecked(box)) << box;
  }
  NewPage(Type::Web);
  EXPECT_TRUE(Control("lbl").isHidden());
  EXPECT_TRUE(Control("optFlag_2").isHidden());
  for (const char* option : {"optFlag_0", "optFlag_1", "optFlag_2"})
    EXPECT_FALSE(IsChecked(option)) << option;
}

TEST_F(PageFormsTest, ThePasswordShowsAsStars) {
  NewPage(Type::Pop3);
  SetText("txtPop3Password", "abc");
  EXPECT_EQ(Control<QLineEdit>("txtPop3Password").displayText(), QStringLiteral("***"));
}

TEST_F(PageFormsTest, KeyboardOrder) {
  using Names = std::vector<std::string>;
  struct Row {
    Type type;
    Names begins;
    Names ends;
  };
  const Row rows[] = {
      {Type::Web,
       {"txtMonitorPoint", "txtBySize", "optFlag_0", "optFlag_1", "optFlag_2", "txtInterval", "txtWaitTime",
        "chkByEmail", "txtEmailAddr", "txtSubject", "txtSmtpServer", "chkByPager", "txtPagerNumber",
        "cmbPagerType", "txtPagerMsg", "cmdRestore", "cmdHelp"},
       {"txtLaunchUpCmd", "cmdBrowse_1", "txtLogFile", "cmdApply"}},
      {Type::Pop3,
       {"txtMonitorPoint", "txtPop3Account", "txtPop3Password", "txtInterval",    "txtWaitTime",
        "chkByEmail",      "txtEmailAddr",   "txtSubject",      "txtSmtpServer",  "chkByPager",
        "txtPagerNumber",  "cmbPagerType",   "txtPagerMsg",     "cmdTest",        "cmdApply",
        "txtLaunchCmd",    "txtRetrytime",   "txtRetryTimes",   "txtLaunchUpCmd", "txtLogFile",
        "cmdHelp",         "cmdRestore"},
       {}},
      {Type::Smtp,
       {"txtMonitorPoint", "txtSmtpFrom",    "txtSmtpTo",    "txtInterval",  "txtWaitTime",
        "cmdRestore",      "cmdHelp",        "SSTab1_Strip", "chkByEmail",   "txtEmailAddr",
        "txtSubject",      "txtSmtpServer",  "cmdTestEmail", "chkByPager",   "txtPagerNumber",
        "cmbPagerType",    "txtPagerMsg",    "cmdTestPager", "txtLaunchCmd", "txtRetrytime",
        "txtRetryTimes",   "txtLaunchUpCmd", "txtLogFile",   "cmdBrowse_1",  "cmdApply"},
       {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(settings::TypeName(row.type));
    NewPage(row.type);
    const auto* first = &Control("txtMonitorPoint");
    Names order = {"txtMonitorPoint"};
    for (const auto* next = first->nextInFocusChain(); next != first; next = next->nextInFocusChain())
      if (page->isAncestorOf(next) && next->focusPolicy() != Qt::NoFocus && next->focusProxy() == nullptr &&
          next->parentWidget() != &Control("SSTab1_Strip"))
        order.push_back(next->objectName().toStdString());
    ASSERT_GE(order.size(), row.begins.size());
    EXPECT_EQ(Names(order.begin(), order.begin() + static_cast<long>(row.begins.size())), row.begins);
    EXPECT_EQ(Names(order.end() - static_cast<long>(row.ends.size()), order.end()), row.ends);
    EXPECT_EQ(std::set<std::string>(order.begin(), order.end()).size(), order.size());
  }
}

void PageFormsTest::ExpectThatEverythingHasRoom() {
  EXPECT_EQ(page->size().expandedTo(page->layout()->minimumSize()), page->size());
  for (const auto* control : page->findChildren<QWidget*>()) {
    ShowTabOf(*control);
    if (!control->isVisible()) continue;
    SCOPED_TRACE(control->objectName().toStdString());
    if (qobject_cast<const QLineEdit*>(control) != nullptr) {
      EXPECT_GE(control->height(), control->minimumSizeHint().height());
    }
    const auto* label = qobject_cast<const QLabel*>(control);
    if (label == nullptr) continue;
    EXPECT_GE(label->width(), label->wordWrap() ? 0 : label->sizeHint().width());
    EXPECT_GE(label->height(), label->heightForWidth(label->width()));
  }
}

TEST_F(PageFormsTest, EverythingHasRoom) {
  for (const auto type : AllTypes) {
    SCOPED_TRACE(settings::TypeName(type));
    NewPage(type);
    ExpectThatEverythingHasRoom();
    const LargeFont font;
    NewPage(type);
    ExpectThatEverythingHasRoom();
  }
}

}  // namespace
}  // namespace norvane::tests
