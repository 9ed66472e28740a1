// Whole stories: the console with its real boxes, the engine program, services on loopback ports.

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <csignal>
#include <filesystem>

#include "console/StatusModel.h"
#include "driver/ConsoleRun.h"
#include "link/StartEngine.h"
#include "loopback/HttpServer.h"
#include "loopback/MailServers.h"
#include "loopback/TempFolder.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"
#include "wizards/FrmWizWeb.h"

namespace norvane::tests {
namespace {

using namespace driver;
using namespace loopback;

using console::StatusModel;
using Texts = std::vector<std::string>;

constexpr char Shop[] = "WebMonitor Of shop";

class StoryTest : public ::testing::Test {
 protected:
  StoryTest() {
    for (const char* program : {"norvane", "norvane-engine"})
      std::filesystem::create_symlink(Program(program), folder / program);
  }
  ~StoryTest() override { Ctl({"shutdown"}); }

  Finished Ctl(Texts arguments) const {
    arguments.insert(arguments.begin(), {Program("norvanectl"), "--folder", folder.Path()});
    return RunProgram(arguments);
  }
  /// Gives the engine, which runs, this monitor, and starts it if there are `attributes`.
  void Add(const std::string& name, const std::vector<std::pair<std::string, std::string>>& attributes = {}) {
    ASSERT_EQ(Ctl({"add", name}).code, 0);
    for (const auto& [key, value] : attributes)
      ASSERT_EQ(Ctl({"set", name, key, value}).code, 0);
    if (attributes.empty()) return;
    ASSERT_EQ(Ctl({"start", name}).code, 0);
  }
  static Texts Names(const ConsoleRun& console) { return console.Column(StatusModel::Name); }
  static void Quit(ConsoleRun& console, const std::string& button) {
    InBox(
        "Information", [&console] { console.Choose("mnuExit"); },
        [&button](QMessageBox& box) { Answer(box, button); });
  }
  static void Delete(ConsoleRun& console, const std::string& button) {
    InBox(
        "Norvane", [&console] { console.PressButton("delete"); },
        [&button](QMessageBox& box) { Answer(box, button); });
  }

  TempFolder folder;
};

TEST_F(StoryTest, FromNothingToAMonitorThatOutlivesConsoleAndEngine) {
  HttpServer web;
  web.Set("/index.htm", HttpServer::Reply("Add to basket"));
  {
    ConsoleRun console(folder.Path());
    console.Start();
    EXPECT_EQ(console.Caption(), "Norvane");
    EXPECT_EQ(Names(console), Texts{});
    InForm<wizards::FrmWizWeb>([&] { console.Choose("mnuNewWebMonitor"); },
                               [&](QWidget& wizard) {
                                 Enter(Part<QLineEdit>(wizard, "txtMonitorName"), "shop");
                                 Enter(Part<QLineEdit>(wizard, "txtMonitorPoint"), web.Url("/index.htm"));
                                 Enter(Part<QLineEdit>(wizard, "txtBySize"), "13");
                                 Enter(Part<QLineEdit>(wizard, "txtPagerNumber"), "5551234");
                                 Click(Part<QPushButton>(wizard, "cmdOK"));
                               });
    EXPECT_EQ(console.Caption(), std::string("Norvane ---- ") + Shop);
    EXPECT_EQ(console.OnPage<QLineEdit>("txtMonitorPoint").text().toStdString(), web.Url("/index.htm"));
    console.PressButton("start");
    console.ClickNode("");
    console.AwaitResult(Shop, "Ok");

    console.ClickNode(Shop);
    auto& apply = console.OnPage<QPushButton>("cmdApply");
    Enter(console.OnPage<QLineEdit>("txtInterval"), "2");
    EXPECT_TRUE(apply.isEnabled());
    Click(apply);
    EXPECT_FALSE(apply.isEnabled());
    Quit(console, "No");
    EXPECT_FALSE(console.hasEnded);
    Quit(console, "Yes");
    EXPECT_TRUE(console.hasEnded);
  }
  ASSERT_EQ(Ctl({"shutdown"}).code, 0);
  const auto requests = web.Requests().size();
  ConsoleRun console(folder.Path());
  console.Start();
  Await("a check by the second engine", [&] { return web.Requests().size() > requests; });
  console.AwaitResult(Shop, "Ok");
  console.ClickNode(Shop);
  EXPECT_EQ(console.OnPage<QLineEdit>("txtInterval").text(), QStringLiteral("2"));
  EXPECT_EQ(console.OnPage<QLineEdit>("txtPagerNumber").text(), QStringLiteral("5551234"));
}

TEST_F(StoryTest, WhatWasAddedInATerminalCanBeAppliedInTheConsole) {
  link::StartEngine(folder.Path());
  Add(Shop, {{"Monitor_Parameter", "http://127.0.0.1:9/"}});
  ConsoleRun console(folder.Path());
  console.Start();
  console.ClickNode(Shop);
  Enter(console.OnPage<QLineEdit>("txtInterval"), "20");
  Click(console.OnPage<QPushButton>("cmdApply"));
  EXPECT_FALSE(console.OnPage<QPushButton>("cmdApply").isEnabled());
  EXPECT_EQ(Ctl({"get", Shop, "Monitor_InterVal (s)"}).out, "20\n");
}

TEST_F(StoryTest, OutageIsShownAndNotifiedUntilItEnds) {
  HttpServer web;
  SmtpServer post;
  web.Set("/", HttpServer::Reply("good"));
  for (const char* command : {"down.sh", "up.sh"}) {
    WriteFile(folder / command, std::string("#!/bin/sh\necho ran ") + command + "\n");
    std::filesystem::permissions(folder / command, std::filesystem::perms::owner_all);
  }
  link::StartEngine(folder.Path());
  Add("WebMonitor Of other", {{"Monitor_Parameter", web.Url("/")}});
  Add(Shop, {{"Monitor_Parameter", web.Url("/")},
             {"MonitorExt_SuccessFlag", "STR:good"},
             {"Monitor_InterVal (s)", "2"},
             {"Monitor_FailTimes", "1"},
             {"Monitor_MaxFailTimes", "1"},
             {"Monitor_Command", "down.sh"},
             {"Monitor_Command_Succ", "up.sh"},
             {"Monitor_Notify Mode", "SMTP://" + post.Address() + ";norvane@example.com"},
             {"Monitor_Notify Pager", "admin@example.com"},
             {"Monitor_Notify Msg", "The shop is down"}});
  ConsoleRun console(folder.Path());
  console.Start();
  console.AwaitResult(Shop, "Ok");
  const auto hasRun = [&](const std::string& command) {
    return ReadFile(folder / "log/commands.log").find("ran " + command) != std::string::npos;
  };

  web.Set("/", HttpServer::Reply("bad"));
  console.AwaitResult(Shop, "Error");
  EXPECT_EQ(console.Result("WebMonitor Of other"), "Ok");
  Await("the command", [&] { return hasRun("down.sh"); });
  Await("the mail", [&] { return !post.Mails().empty(); });
  EXPECT_NE(post.Mails().at(0).text.find("Subject: The shop is down\r\n"), std::string::npos);
  EXPECT_FALSE(hasRun("up.sh"));

  web.Set("/", HttpServer::Reply("good"));
  console.AwaitResult(Shop, "Ok");
  Await("the command at the end", [&] { return hasRun("up.sh"); });
  EXPECT_EQ(post.Mails().size(), 1u);
}

TEST_F(StoryTest, EngineStartsThoughTheEndsOfChildrenAreIgnored) {
  const auto before = std::signal(SIGCHLD, SIG_IGN);  // as whoever starts a console may leave it
  EXPECT_NO_THROW(link::StartEngine(folder.Path()));
  std::signal(SIGCHLD, before);
  EXPECT_EQ(Ctl({"status"}).code, 0);
}

TEST_F(StoryTest, DeletedMonitorsAreGoneForGood) {
  link::StartEngine(folder.Path());
  for (const char* name : {"a", "b", "c"})
    Add(std::string("WebMonitor Of ") + name);
  {
    ConsoleRun console(folder.Path());
    console.Start();
    console.ClickNode("WebMonitor Of b");
    Delete(console, "No");
    EXPECT_EQ(console.SelectedText(), "WebMonitor Of b");
    for (const char* next : {"WebMonitor Of c", "WebMonitor Of a"}) {
      Delete(console, "Yes");
      EXPECT_EQ(console.SelectedText(), next);
      EXPECT_EQ(console.Caption(), std::string("Norvane ---- ") + next);
    }
    Delete(console, "Yes");
    EXPECT_EQ(console.Caption(), "Norvane");
    EXPECT_EQ(Names(console), Texts{});
    Quit(console, "Yes");
  }
  ASSERT_EQ(Ctl({"shutdown"}).code, 0);
  ConsoleRun console(folder.Path());
  console.Start();
  EXPECT_EQ(Names(console), Texts{});
}

TEST_F(StoryTest, KilledEngineEndsTheConsoleAndNothingSavedIsLost) {
  const Texts names = {Shop, "SmtpMonitor Of post"};
  link::StartEngine(folder.Path());
  for (const auto& name : names)
    Add(name);
  ASSERT_EQ(Ctl({"save"}).code, 0);
  {
    ConsoleRun console(folder.Path());
    console.Start();
    EXPECT_EQ(Names(console), names);
    InBox(
        "Restart",
        [&console] {
          ASSERT_EQ(::kill(static_cast<pid_t>(console.console.port.Info().processId), SIGKILL), 0);
          Await("the console's end", [&console] {
            if (!console.hasEnded) console.console.form.Timer1_Timer();
            return console.hasEnded;
          });
        },
        [](QMessageBox& box) { Answer(box, "OK"); });
  }
  ConsoleRun console(folder.Path());
  console.Start();
  EXPECT_EQ(Names(console), names);
}

TEST_F(StoryTest, EngineThatCanNotBeStartedGivesABoxAndACaption) {
  std::filesystem::remove(folder / "norvane-engine");
  WriteFile(folder / "NorvaneEngine.dat", "some data");
  ConsoleRun console(folder.Path());
  InBox(
      "Error", [&console] { console.Start(); },
      [](QMessageBox& box) {
        EXPECT_NE(box.text().toStdString().find("can not start"), std::string::npos);
        Answer(box, "OK");
      });
  EXPECT_EQ(console.Caption(), "Norvane - can not connect to the monitor engine");
  EXPECT_TRUE(console.Window().isVisible());
}

TEST_F(StoryTest, TheProgramStartsTheEngineOfItsFolder) {
  Process program({folder / "norvane"});
  Await("the engine", [this] { return Ctl({"status"}).code == 0; });
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait().code, 128 + SIGTERM);
  EXPECT_EQ(Ctl({"status"}).code, 0) << "the engine goes on without a console";
}

}  // namespace
}  // namespace norvane::tests
