#include "demo/Story.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <algorithm>
#include <cstdio>

#include "console/StatusModel.h"
#include "console/shared/FrmURLShow.h"
#include "demo/DemoFolder.h"
#include "demo/DemoMonitors.h"
#include "demo/DemoServers.h"
#include "link/EngineClient.h"
#include "support/frmAbout.h"
#include "wizards/FrmAddMonitor.h"
#include "wizards/FrmWizPop.h"
#include "wizards/FrmWizSmtp.h"
#include "wizards/FrmWizWeb.h"

namespace norvane::demo {

using console::StatusModel;
using driver::Answer;
using driver::Await;
using driver::Click;
using driver::Enter;
using driver::InBox;
using driver::InForm;
using driver::Part;

namespace {
constexpr char NewsMonitor[] = "WebMonitor Of news";
constexpr char PagerNumber[] = "5551234";
/// A user who has waited long enough to act, but not as long as the check that hangs.
constexpr auto PatienceOfTheUser = std::chrono::milliseconds(1500);
constexpr char HangingSeconds[] = "4";
}  // namespace

Story::Story(link::EngineClient& engine, DemoServers& servers, const DemoFolder& folder, Pictures& pictures)
    : m_engine(engine),
      m_servers(servers),
      m_folder(folder),
      m_pictures(pictures),
      m_news(engine, servers, folder) {}

void Story::Run() {
  FirstRun();
  SecondRun();
}

void Story::FirstRun() {
  driver::ConsoleRun console(m_folder.Path());
  m_console = &console;
  Say("The console starts.");
  console.Start([this](QWidget& splash) { m_pictures.Capture(splash, "splash"); });
  LookAtTheList();
  AddMonitors();
  LookAtThePages();
  ChangeSettings();
  TestMonitors();
  WaitForAnAnswer();
  SeeOutages();
  LookAtTheRest();
  Delete();
  Quit();
}

void Story::SecondRun() {
  driver::ConsoleRun console(m_folder.Path());
  m_console = &console;
  Say("The console starts again; the engine has gone on meanwhile.");
  console.Start();
  console.AwaitResult(Shop, "Ok");
  ShowList();
  Say("The engine is ended behind the console's back.");
  ThroughBox(
      "Restart",
      [&] {
        m_engine.Shutdown(false);
        Await("the end of the console", [&] {
          if (!console.hasEnded) console.console.form.Timer1_Timer();
          return console.hasEnded;
        });
      },
      "box-restart");
}

void Story::LookAtTheList() {
  for (const char* monitor : {Shop, Mailbox, Relay})
    m_console->AwaitResult(monitor, "Ok");
  Say("All is well.");
  ShowList();
  m_pictures.Capture(m_console->Window(), "list-ok");
}

// Wizards.

void Story::AddMonitors() {
  Say("Three wizards add a web, a POP3 and an SMTP monitor.");
  InForm<wizards::FrmWizWeb>([this] { m_console->Choose("mnuNewWebMonitor"); },
                             [this](QWidget& wizard) {
                               Enter(Part<QLineEdit>(wizard, "txtMonitorPoint"), m_servers.web.Url(NewsPage));
                               CheckUrl(wizard);
                               FinishWizard(wizard, "news", "wizard-web");
                             });
  m_console->PressButton("start");
  InForm<wizards::FrmWizPop>([this] { m_console->Choose("mnuNewPop3Monitor"); },
                             [this](QWidget& wizard) {
                               Enter(Part<QLineEdit>(wizard, "txtMonitorPoint"), m_servers.mailbox.Address());
                               Enter(Part<QLineEdit>(wizard, "txtPop3Account"), Account);
                               Enter(Part<QLineEdit>(wizard, "txtPop3Password"), Password);
                               FinishWizard(wizard, "orders", "wizard-pop3");
                             });
  m_console->PressButton("start");
  InForm<wizards::FrmWizSmtp>([this] { m_console->Choose("mnuSmtpMonitor"); },
                              [this](QWidget& wizard) {
                                Enter(Part<QLineEdit>(wizard, "txtMonitorPoint"), m_servers.relay.Address());
                                Enter(Part<QLineEdit>(wizard, "txtSmtpFrom"), "check@example.com");
                                Enter(Part<QLineEdit>(wizard, "txtSmtpTo"), "postmaster@example.com");
                                FinishWizard(wizard, "outbox", "wizard-smtp");
                              });
  m_console->PressButton("start");
  m_console->ClickNode("");
  m_console->AwaitResult(NewsMonitor, "Ok");
  ShowList();
}

void Story::CheckUrl(QWidget& wizard) {
  auto& check = Part<QPushButton>(wizard, "Command1");
  Click(check);
  console::shared::FrmURLShow* viewer = nullptr;
  Await("the page's text", [&] {
    viewer = wizard.findChild<console::shared::FrmURLShow*>();
    return viewer != nullptr && viewer->isVisible();
  });
  m_pictures.Capture(*viewer, "url-check");
  Click(Part<QPushButton>(*viewer, "cmdClose"));
}

void Story::FinishWizard(QWidget& wizard, const std::string& name, const std::string& picture) {
  Enter(Part<QLineEdit>(wizard, "txtMonitorName"), name);
  Enter(Part<QLineEdit>(wizard, "txtPagerNumber"), PagerNumber);
  Click(Part<QCheckBox>(wizard, "chkInetCall"));
  auto& types = Part<QComboBox>(wizard, "cmbPagerType");
  Click(types);
  Await("the list of pager types", [&types] { return types.count() > 1; });
  types.hidePopup();
  types.setCurrentIndex(1);
  Enter(Part<QLineEdit>(wizard, "txtPagerMsg"), name + " is down");
  m_pictures.Capture(wizard, picture);
  Click(Part<QPushButton>(wizard, "cmdOK"));
}

// Pages.

void Story::LookAtThePages() {
  Say("The pages of the monitors are looked at.");
  ShowPages(Shop, "page-web");
  ShowPages(Mailbox, "page-pop3");
  ShowPages(Relay, "page-smtp");
}

void Story::ShowPages(const std::string& fullName, const std::string& picture) {
  m_console->ClickNode(fullName);
  int index = 0;
  for (const char* tab : {"general", "notification", "command"}) {
    m_console->OpenTab(index++);
    m_pictures.Capture(m_console->Window(), picture + "-" + tab);
  }
  m_console->OpenTab(0);
}

void Story::ChangeSettings() {
  Say("A wrong address is refused; the old one comes back.");
  m_console->ClickNode(Shop);
  auto& point = m_console->OnPage<QLineEdit>("txtMonitorPoint");
  Enter(point, "shop");
  ThroughBox(
      "Error", [this] { Click(m_console->OnPage<QPushButton>("cmdApply")); }, "box-rule");
  Click(m_console->OnPage<QPushButton>("cmdRestore"));
}

void Story::TestMonitors() {
  Say("The notification of a monitor is tested.");
  m_console->OpenTab(1);
  auto& test = m_console->OnPage<QPushButton>("cmdTestEmail");
  Click(test);
  AwaitNews({"A mail arrived."});
  Say("While the mail server is closed, the test fails.");
  m_servers.SetPost(false);
  ThroughBox(
      "Error", [&test] { Click(test); }, "box-notify-failed");
  m_servers.SetPost(true);
}

void Story::WaitForAnAnswer() {
  Say("A page that hangs is tested, and the user loses patience; then it is one that comes.");
  m_console->ClickNode(NewsMonitor);
  auto& point = m_console->OnPage<QLineEdit>("txtMonitorPoint");
  Enter(point, m_servers.web.Url(HangingPage));
  Enter(m_console->OnPage<QLineEdit>("txtWaitTime"), HangingSeconds);
  QTimer::singleShot(PatienceOfTheUser, &point, [&point] { Click(point); });
  ThroughBox(
      "Error",
      [this] {
        InBox(
            "Wait Please", [this] { Click(m_console->OnPage<QPushButton>("cmdTest")); },
            [this](QMessageBox& box) { m_pictures.Capture(box, "box-wait"); });
      },
      "box-test-failed");
  Enter(point, m_servers.web.Url(NewsPage));
  ThroughBox(
      "Norvane", [this] { Click(m_console->OnPage<QPushButton>("cmdTest")); }, "box-test-ok");
}

// Outages and the rest.

void Story::SeeOutages() {
  Say("The shop's page loses its basket, and the mailbox changes its password.");
  m_console->ClickNode("");
  m_servers.SetShop(false);
  m_servers.SetMailbox(false);
  m_console->AwaitResult(Shop, "Error");
  m_console->AwaitResult(Mailbox, "Error");
  ShowList();
  m_pictures.Capture(m_console->Window(), "list");
  AwaitNews({"would be restarted", "A mail arrived.", "The pager gateway was called"});
  Say("Both are mended.");
  m_servers.SetShop(true);
  m_servers.SetMailbox(true);
  AwaitNews({"the shop is back"});
  m_console->AwaitResult(Shop, "Ok");
  m_console->AwaitResult(Mailbox, "Ok");
  ShowList();
}

void Story::LookAtTheRest() {
  InForm<support::frmAbout>([this] { m_console->Choose("mnuAbout"); },
                            [this](QWidget& about) {
                              m_pictures.Capture(about, "about");
                              Click(Part<QPushButton>(about, "cmdOK"));
                            });
  wizards::FrmAddMonitor form(m_console->console.bas, &m_console->console.form);
  InForm<wizards::FrmAddMonitor>([&form] { form.exec(); },
                                 [this](QWidget& add) {
                                   m_pictures.Capture(add, "add-monitor");
                                   Click(Part<QPushButton>(add, "cmdCancel"));
                                 });
}

void Story::Delete() {
  Say(std::string(Archive) + " is deleted.");
  m_console->ClickNode(Archive);
  ThroughBox(
      "Norvane", [this] { m_console->PressButton("delete"); }, "box-delete", "Yes");
  m_console->ClickNode("");
  ShowList();
}

void Story::Quit() {
  Say("The console is closed.");
  ThroughBox(
      "Information", [this] { m_console->Choose("mnuExit"); }, "box-quit", "Yes");
  Await("the end of the console", [this] { return m_console->hasEnded; });
}

void Story::ThroughBox(const std::string& title, const std::function<void()>& act, const std::string& picture,
                       const std::string& button) {
  InBox(title, act, [&](QMessageBox& box) {
    Say("  [" + box.windowTitle().toStdString() + "] " + box.text().toStdString());
    m_pictures.Capture(box, picture);
    Answer(box, button);
  });
}

void Story::Say(const std::string& text) {
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
}

void Story::ShowList() {
  for (std::size_t row = 0; row < m_console->Column(StatusModel::Name).size(); ++row) {
    const auto cell = [&](int column) { return m_console->Cell(static_cast<int>(row), column); };
    std::printf("    %-6s %-6s %s\n", cell(StatusModel::Status).c_str(), cell(StatusModel::Result).c_str(),
                cell(StatusModel::Name).c_str());
  }
}

void Story::AwaitNews(const std::vector<std::string>& texts) {
  auto missing = texts;
  while (!missing.empty()) {
    std::vector<std::string> news;
    Await('"' + missing.front() + '"', [&] { return !(news = m_news.Next()).empty(); });
    for (const auto& text : news) {
      Say("  " + text);
      std::erase_if(missing, [&text](const auto& part) { return text.find(part) != std::string::npos; });
    }
  }
}

}  // namespace norvane::demo
