#include "wizards/Wizard.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <filesystem>

#include "console/engine/EngineError.h"
#include "loopback/HttpServer.h"
#include "tests/support/ConsoleFixture.h"
#include "wizards/FrmWizPop.h"
#include "wizards/FrmWizSmtp.h"
#include "wizards/FrmWizWeb.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::Box;
using settings::Type;
using Calls = std::vector<std::string>;
/// Texts by the names of text boxes.
using Entries = std::vector<std::pair<const char*, const char*>>;

const EngineError Broken(EngineErrorCode::Failed, "broken");
constexpr Type Types[] = {Type::Web, Type::Pop3, Type::Smtp};

/// Entries that every rule lets pass.
const settings::ByType<Entries> Filled{
    {{"txtMonitorName", " shop "}, {"txtMonitorPoint", " HTTP://a/ "}, {"txtBySize", "12"}},
    {{"txtMonitorPoint", " pop "}, {"txtPop3Account", "me@pop"}, {"txtPop3Password", " secret"}},
    {{"txtMonitorPoint", "smtp"}, {"txtSmtpFrom", "a@b"}, {"txtSmtpTo", "c@d"}},
};
const settings::ByType<const char*> FullNames{"WebMonitor Of shop", "Pop3Monitor Of example",
                                              "SmtpMonitor Of example"};

class WizardTest : public ConsoleFixture {
 protected:
  void Open(Type type) {
    if (type == Type::Web)
      wizard = std::make_unique<wizards::FrmWizWeb>(bas, form.get());
    else if (type == Type::Pop3)
      wizard = std::make_unique<wizards::FrmWizPop>(bas, form.get());
    else
      wizard = std::make_unique<wizards::FrmWizSmtp>(bas, form.get());
    wizard->show();
    wizard->activateWindow();
    EXPECT_TRUE(QTest::qWaitFor([this] { return wizard->isActiveWindow(); }));
    (void)engine.TakeCalls();
  }
  template <class T>
  [[nodiscard]] T& Part(const char* name) {
    return driver::Part<T>(*wizard, name);
  }
  void Enter(const Entries& entries) {
    for (const auto& [name, text] : entries)
      Part<QLineEdit>(name).setText(QString::fromUtf8(text));
  }
  [[nodiscard]] std::string TextOf(const char* name) { return Part<QLineEdit>(name).text().toStdString(); }
  void PressOk() { QTest::mouseClick(&Part<QPushButton>("cmdOK"), Qt::LeftButton); }

  /// The calls so far that write, prepare or name a monitor, and what a click needs.
  [[nodiscard]] Calls Steps() {
    Calls steps;
    for (auto& call : engine.TakeCalls())
      for (const char* step : {"SetMonitorName", "Add", "Resolve", "SetAttr", "Runner", "Init"})
        if (call.starts_with(step)) steps.push_back(std::move(call));
    return steps;
  }
  void ExpectBox(const std::string& text, BoxIcon icon) {
    std::vector<Box> boxes;  // an access key presses its button after a moment
    EXPECT_TRUE(QTest::qWaitFor([&] { return !(boxes = dialogs.TakeBoxes()).empty(); }));
    EXPECT_EQ(boxes, (std::vector<Box>{{.title = "Error", .text = text, .icon = icon}}));
  }
  [[nodiscard]] std::string LogFile() const { return folder.Path() + "/log/NorvaneLog%d%m%y.log"; }

  std::unique_ptr<wizards::Wizard> wizard;
};

std::string Quoted(const std::string& text) {
  return '"' + text + '"';
}

std::string Set(const char* key, const std::string& value) {
  return "SetAttr(" + Quoted(key) + ", " + Quoted(value) + ")";
}

TEST_F(WizardTest, RefusesInItsOrder) {
  struct Step {
    Entries mend;  ///< what the user corrects before pressing OK
    std::string text;
    BoxIcon icon;
  };
  constexpr auto Info = BoxIcon::Information;
  constexpr auto Critical = BoxIcon::Critical;
  const Entries nothing = {{"txtMonitorName", " "}, {"txtMonitorPoint", " "}, {"txtPagerNumber", " "}};
  const settings::ByType<std::vector<Step>> steps{
      {{{{"txtBySize", ""}}, "", Info},
       {{{"txtMonitorName", " SHOP "}}, "SHOP already exists in the service list", Info},
       {{{"txtMonitorName", "new"}}, "Invalid URL", Info},
       {{{"txtMonitorPoint", " ftp://http "}}, "Invalid URL", Info},
       {{{"txtMonitorPoint", " http "}}, "Invalid phone or pager number", Info},
       {{{"txtPagerNumber", " 1 "}}, "Invalid phone or pager number, Or not select a call type", Info}},
      {{{{"txtPop3Account", " "}}, "", Info},
       {{{"txtMonitorName", "Shop"}}, "Shop already exists in the service list", Info},
       {{{"txtMonitorName", "new"}}, "Invalid phone or pager number, Or not select a call type", Info},
       {{{"txtPagerNumber", " 1 "}}, "Invalid phone or pager number, Or not select a call type", Info}},
      {{{{"txtSmtpFrom", " "}}, "", Info},
       {{{"txtMonitorName", "shop"}}, "shop already exists in the service list", Info},
       {{{"txtMonitorName", "new"}}, "Invalid phone or pager number", Info},
       {{{"txtPagerNumber", " 1 "}}, "Invalid phone or pager number, Or not select a call type", Info}},
  };
  // From here on without an internet call.
  const settings::ByType<std::vector<Step>> rest{
      {{{}, "You must specify the flag parameter and flag options", BoxIcon::Exclamation}},
      {{{}, "Pop3 server address must not be null", Info},
       {{{"txtMonitorPoint", " pop "}}, "the test pop3 account must not be null", Info}},
      {{{}, "smtp server address must not be null", Info},
       {{{"txtMonitorPoint", " smtp "}}, "Invalid smtp from account", Critical},
       {{{"txtSmtpFrom", "@b"}}, "Invalid smtp from account", Critical},
       {{{"txtSmtpFrom", "a"}}, "Invalid smtp from account", Critical},
       {{{"txtSmtpFrom", "a@b"}, {"txtSmtpTo", " "}}, "Invalid smtp To title", Critical},
       {{{"txtSmtpTo", "c"}}, "Invalid smtp to account", Critical},
       {{{"txtSmtpTo", "@smtp"}}, "Invalid smtp to account", Critical}},
  };
  StartWith({{"WebMonitor Of shop", "Disable"},
             {"Pop3Monitor Of shop", "Disable"},
             {"SmtpMonitor Of shop", "Disable"}});
  for (const auto type : Types) {
    Open(type);
    Enter(nothing);
    Part<QCheckBox>("chkInetCall").setChecked(true);
    const auto press = [this](const Step& step) {
      SCOPED_TRACE(step.text);
      Enter(step.mend);
      if (!step.text.empty()) dialogs.Announce();
      wizard->cmdOK_Click();
      if (!step.text.empty()) ExpectBox(step.text, step.icon);
      EXPECT_TRUE(wizard->isVisible());
    };
    for (const auto& step : steps.For(type))
      press(step);
    EXPECT_EQ(TextOf("txtMonitorName"), "new");
    EXPECT_EQ(TextOf("txtMonitorPoint"), type == Type::Web ? "http" : " ");
    Part<QCheckBox>("chkInetCall").setChecked(false);
    for (const auto& step : rest.For(type))
      press(step);
    EXPECT_EQ(Steps(), Calls{});
  }
  EXPECT_EQ(form->MonitorTexts().size(), 3U);
}

TEST_F(WizardTest, CreatesTheMonitorStepByStep) {
  Start();
  const settings::ByType<Calls> own{
      {Set("Monitor_Parameter", "HTTP://a/"), Set("MonitorExt_SuccessFlag", "SIZE:12")},
      {Set("Monitor_Parameter", " pop "), Set("MonitorExt_PopAccount", "me@pop"),
       Set("MonitorExt_PopPass", " secret")},
      {Set("Monitor_Parameter", "smtp"), Set("MonitorExt_From", "a@b"), Set("MonitorExt_To", "c@d")},
  };
  for (const auto type : Types) {
    const std::string fullName = FullNames.For(type);
    SCOPED_TRACE(fullName);
    std::filesystem::remove_all(folder.Path() + "/log");
    Open(type);
    Enter(Filled.For(type));
    engine.During("SetAttr", [this] { EXPECT_FALSE(wizard->isVisible()); });
    PressOk();
    Calls expected = {"SetMonitorName(" + Quoted(fullName) + ")", "Add(" + Quoted(fullName) + ")",
                      "SetMonitorName(" + Quoted(fullName) + ")", "Resolve(" + Quoted(fullName) + ")"};
    expected.insert(expected.end(), own.For(type).begin(), own.For(type).end());
    for (const auto& call : {Set("Monitor_Notify Mode", "TEL://"), Set("Monitor_Notify Pager", "12345678"),
                             Set("Monitor_Notify Msg", "Server down"), Set("Monitor_LogFile", LogFile()),
                             std::string("Runner"), "Init(" + Quoted(fullName) + ")",
                             "SetMonitorName(" + Quoted(fullName) + ")", "Resolve(" + Quoted(fullName) + ")"})
      expected.push_back(call);
    EXPECT_EQ(Steps(), expected);
    EXPECT_EQ(SelectedText(), fullName);
    EXPECT_FALSE(wizard->isVisible());
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path() + "/log"));
    ClickNode("");  // the list shows a stopped monitor
    EXPECT_EQ(Column(3).back(), fullName);
    EXPECT_EQ(Column(1).back(), "Stop");
  }
}

TEST_F(WizardTest, TheItemThatInitLeavesIsTheCurrentOne) {
  Start();
  engine.Place("WebMonitor Of other");
  engine.initAnswer.replaceBy = "WebMonitor Of other";
  Open(Type::Smtp);
  Enter(Filled.smtp);
  std::string after;
  engine.During("Resolve", [&] { after = bas.CurrentMonitor ? bas.CurrentMonitor->Name() : ""; });
  PressOk();
  EXPECT_EQ(after, "WebMonitor Of other");
}

TEST_F(WizardTest, AnInternetCallIsStoredByItsNumber) {
  Start();
  bas.PagerTypes = {"0=Numeric", "1=Text", "2=Call by modem"};
  for (const auto type : Types) {
    SCOPED_TRACE(FullNames.For(type));
    Open(type);
    Enter(Filled.For(type));
    auto& list = Part<QComboBox>("cmbPagerType");
    auto& message = Part<QLineEdit>("txtPagerMsg");
    EXPECT_EQ(list.count(), 3);
    EXPECT_FALSE(list.isEnabled() || message.isEnabled());
    QTest::keyClick(&Part<QCheckBox>("chkInetCall"), Qt::Key_Space);
    EXPECT_TRUE(list.isEnabled() && message.isEnabled());
    list.setCurrentIndex(2);
    EXPECT_FALSE(message.isEnabled());
    list.setCurrentIndex(1);
    EXPECT_TRUE(message.isEnabled());
    PressOk();
    EXPECT_EQ(engine.At(FullNames.For(type)).attributes["Monitor_Notify Mode"],
              bas.Gateway.PagerGatewayUrl + "cmd=11&mode=1&msg=%s&num=%s");
  }
}

TEST_F(WizardTest, AFailedAddLeavesTheWizardOpen) {
  Start();
  for (const auto type : Types) {
    Open(type);
    Enter(Filled.For(type));
    engine.FailOnce("Add", Broken);
    dialogs.Announce();
    PressOk();
    ExpectBox("broken", BoxIcon::Critical);
    EXPECT_TRUE(wizard->isVisible());
  }
  EXPECT_TRUE(form->MonitorTexts().empty());
}

TEST_F(WizardTest, AFailedFirstClickWritesNothing) {
  StartWith({{"WebMonitor Of first", "Disable"}});
  for (const auto type : Types) {
    ClickNode("WebMonitor Of first");
    Open(type);
    Enter(Filled.For(type));
    engine.FailOnce("Resolve", Broken);
    dialogs.Announce();
    PressOk();
    EXPECT_EQ(dialogs.TakeBoxes().front().title, "Restart");
    EXPECT_EQ(Steps().size(), 4U);  // no attribute
    EXPECT_FALSE(wizard->isVisible());
    EXPECT_EQ(SelectedText(), FullNames.For(type));
  }
}

TEST_F(WizardTest, WhatFailsAfterwardsIsPassedOver) {
  Start();
  for (const auto type : Types) {
    const std::string fullName = FullNames.For(type);
    SCOPED_TRACE(fullName);
    Open(type);
    Enter(Filled.For(type));
    engine.FailOnce("SetAttr", Broken);
    engine.FailOnce("Init", EngineError(EngineErrorCode::TimedOut, "no answer"));
    if (type != Type::Pop3) dialogs.Announce();
    PressOk();
    if (type != Type::Pop3)
      ExpectBox("Can not set of " + fullName + ":\n\nMonitor_Parameter: broken\nInit: no answer",
                BoxIcon::Critical);
    const auto& attributes = engine.At(fullName).attributes;
    EXPECT_EQ(attributes.count("Monitor_Parameter"), 0U);
    EXPECT_EQ(attributes.find("Monitor_LogFile")->second, LogFile());
    EXPECT_EQ(Steps().back(), "Resolve(" + Quoted(fullName) + ")");
  }
}

TEST_F(WizardTest, ALogFolderThatCannotBeMadeIsPassedOver) {
  Start();
  std::filesystem::create_symlink("/dev/null", folder.Path() + "/log");
  Open(Type::Web);
  Enter(Filled.web);
  PressOk();
  EXPECT_EQ(engine.At("WebMonitor Of shop").attributes["Monitor_LogFile"], LogFile());
}

TEST_F(WizardTest, LeavingTheServerProposesAnAccount) {
  Start();
  const auto point = [this]() -> QWidget* { return &Part<QLineEdit>("txtMonitorPoint"); };
  const std::pair<const char*, std::function<void()>> ways[] = {
      {"Tab", [&] { QTest::keyClick(point(), Qt::Key_Tab); }},
      {"mouse", [&] { PressOk(); }},
      {"access key", [&] { QTest::keyClick(point(), Qt::Key_O, Qt::AltModifier); }},
  };
  for (const auto& [name, leave] : ways) {
    SCOPED_TRACE(name);
    Open(Type::Smtp);
    Enter({{"txtMonitorPoint", "smtp"}, {"txtSmtpFrom", "a@b"}});
    point()->setFocus();
    const bool presses = std::string(name) != "Tab";
    if (presses) dialogs.Announce();
    leave();
    if (presses) ExpectBox("Invalid smtp to account", BoxIcon::Critical);
    EXPECT_EQ(TextOf("txtSmtpTo"), "@smtp");
  }
  Enter({{"txtSmtpTo", " "}});
  Part<QLineEdit>("txtMonitorPoint").setFocus();
  QTest::keyClick(&Part<QLineEdit>("txtMonitorPoint"), Qt::Key_Tab);
  EXPECT_EQ(TextOf("txtSmtpTo"), " ");
}

TEST_F(WizardTest, EnterPressesNothingAndEscCancels) {
  Start();
  for (const auto type : Types) {
    Open(type);
    Enter(Filled.For(type));
    QTest::keyClick(&Part<QLineEdit>("txtMonitorName"), Qt::Key_Return);
    EXPECT_TRUE(wizard->isVisible());
    QTest::keyClick(&Part<QLineEdit>("txtMonitorName"), Qt::Key_Escape);
    EXPECT_FALSE(wizard->isVisible());
    EXPECT_EQ(Steps(), Calls{});
  }
}

TEST_F(WizardTest, TheCheckOfTheUrlEndsOnTheSize) {
  loopback::HttpServer server;
  server.Set("/page", loopback::HttpServer::Reply("abc"));
  Start();
  Open(Type::Web);
  Part<QRadioButton>("optFlag_1").setChecked(true);
  Enter({{"txtMonitorPoint", server.Url("/page").c_str()}});
  QTest::mouseClick(&Part<QPushButton>("Command1"), Qt::LeftButton);
  EXPECT_TRUE(QTest::qWaitFor([this] { return TextOf("txtBySize") == "3"; }));
  EXPECT_TRUE(Part<QRadioButton>("optFlag_0").isChecked());
}

TEST_F(WizardTest, TheMenusOpenTheirForms) {
  Start();
  const std::pair<const char*, const char*> entries[] = {{"mnuNewWebMonitor", "Add WebMonitor Wizard"},
                                                         {"mnuNewPop3Monitor", "Add Pop3Monitor Wizard"},
                                                         {"mnuSmtpMonitor", "Add SmtpMonitor Wizard"},
                                                         {"mnuAbout", "About Norvane"}};
  for (const auto& [entry, caption] : entries) {
    SCOPED_TRACE(entry);
    QString shown;
    int offset = 0;
    QTimer::singleShot(0, [&] {
      auto* window = QApplication::activeModalWidget();
      shown = window->windowTitle();
      offset = (window->frameGeometry().center() - form->frameGeometry().center()).manhattanLength();
      QTest::keyClick(window, Qt::Key_Escape);
    });
    Control<QAction>(entry).trigger();
    EXPECT_EQ(shown, QLatin1String(caption));
    EXPECT_LE(offset, 5);  // rounding
  }
}

}  // namespace
}  // namespace norvane::tests
