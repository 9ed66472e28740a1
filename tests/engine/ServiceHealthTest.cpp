// What the service tells of itself: conditions, messages to the administrator, monitors that are overdue.

#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <set>

#include "engine/Service.h"
#include "loopback/TempFolder.h"
#include "tests/engine/TestEngine.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

namespace fs = std::filesystem;
namespace keys = console::engine::keys;
using loopback::TempFolder;
using Calls = std::vector<std::string>;
using Engine = tests::TestEngine;

TEST(ServiceHealth, AMonitorWithoutACheckForThreeIntervalsIsOverdue) {
  const TempFolder folder;
  Moment now;
  {
    Engine engine(folder.Path(), [&] { return now; });
    const auto id = engine.Add("WebMonitor Of a");
    engine.service.Set(id, keys::Interval, "10");
    engine.service.Set(id, keys::Status, "Enable");
    const auto overdueAfter = [&](int seconds) {
      now += std::chrono::seconds(seconds);
      return engine.service.Status().overdue.size();
    };
    EXPECT_EQ(overdueAfter(29), 0u);
    EXPECT_EQ(overdueAfter(1), 1u);
    engine.checks->Report(id, 0, "Ok");
    engine.service.OnWake();
    EXPECT_EQ(overdueAfter(29), 0u);
    EXPECT_EQ(overdueAfter(1), 1u);
    engine.service.Set(id, "note", "no reason to be younger");
    EXPECT_EQ(overdueAfter(0), 1u);
    engine.service.Set(id, keys::Interval, "20");
    EXPECT_EQ(overdueAfter(59), 0u);
    EXPECT_EQ(overdueAfter(1), 1u);
    engine.service.Set(id, keys::Status, "Disable");
    EXPECT_EQ(overdueAfter(0), 0u);
    engine.service.Set(id, keys::Status, "Enable");
    EXPECT_EQ(engine.Shutdown(), std::nullopt);
  }
  const Engine engine(folder.Path(), [&] { return now; });
  EXPECT_EQ(engine.service.Status().overdue.size(), 0u) << "it has not run long enough";
  now += std::chrono::seconds(60);
  EXPECT_EQ(engine.service.Status().overdue.size(), 1u);
}

TEST(ServiceHealth, WhatStaysOverdueIsACondition) {
  const TempFolder folder;
  Moment now;
  Engine engine(folder.Path(), [&] { return now; });
  const auto add = [&](const char* name, const char* timeout) {
    const auto id = engine.Add(name);
    engine.service.Set(id, keys::Interval, "10");
    engine.service.Set(id, keys::Timeout, timeout);
    engine.service.Set(id, keys::Status, "Enable");
    return id;
  };
  const auto a = add("WebMonitor Of a", "5"), b = add("WebMonitor Of b", "5");
  add("WebMonitor Of slow", "60");
  engine.service.Set(add("WebMonitor Of stopped", "5"), keys::Status, "Disable");
  const auto after = [&](int seconds) {
    now += std::chrono::seconds(seconds);
    engine.service.OnWake();
    engine.service.OnSecond();
    return engine.Conditions();
  };
  EXPECT_EQ(after(94), Calls{}) << "a minute more than three intervals and the time-out";
  EXPECT_EQ(after(1), Calls{"no result of WebMonitor Of a for three intervals (and of 1 more)"});
  engine.checks->Report(a, 0, "Ok");
  EXPECT_EQ(after(0), Calls{"no result of WebMonitor Of b for three intervals"});
  engine.checks->Report(b, 0, "broken");
  EXPECT_EQ(after(0), Calls{});
  EXPECT_EQ(after(55), Calls{"no result of WebMonitor Of slow for three intervals"});
}

TEST(ServiceHealth, TheAdministratorHearsOfConditionsButNotOfHisOwnSilence) {
  const TempFolder folder;
  tests::WriteFile(folder / "NorvaneEngine.dat", "no data file");
  Moment now;
  Engine engine(folder.Path(), [&] { return now; }, {"TEL://", "555"});
  engine.checks->notifyOutcome = "no route";
  const auto pass = [&](std::chrono::seconds time) {
    now += time;
    engine.service.OnSecond();
    for (const char* value : {"1", "2"})  // when all is on disk
      engine.Commit("x", value);
  };
  pass(AdminMessages::GatherTime);
  ASSERT_EQ(engine.checks->notifications.size(), 1u);
  EXPECT_EQ(engine.checks->notifications[0].to, "555");
  const std::string unreachable = "message to the administrator not accepted: no route";
  EXPECT_EQ(engine.Conditions().front(), unreachable);
  engine.checks->notifyOutcome = "Ok";
  pass(MessageSender::MaxPause);
  ASSERT_EQ(engine.checks->notifications.size(), 2u);
  EXPECT_EQ(engine.checks->notifications[1].message, engine.checks->notifications[0].message);
  EXPECT_EQ(engine.Conditions().size(), 1u) << "the data file still cannot be read";
  pass(std::chrono::hours(1));
  EXPECT_EQ(engine.checks->notifications.size(), 2u);
}

TEST(ServiceHealth, OtherSettingsHoldForWhatIsOwed) {
  const TempFolder folder;
  tests::WriteFile(folder / "NorvaneEngine.dat", "no data file");
  Moment now;
  Service::Settings settings{{"TEL://", "555"}, {}, {}, {}, {}};
  settings.alarms.messages.webhooks["webhook x"] = {"http://x/", "", false, false, true};
  Engine engine(
      folder.Path(), [&] { return now; }, settings.admin, settings.alarms);
  engine.checks->notifyOutcome = "no route";
  const auto pass = [&](std::chrono::seconds time) {
    now += time;
    engine.checks->notifications.clear();
    engine.service.OnSecond();
    for (const char* value : {"1", "2"})  // when all is on disk
      engine.Commit("x", value);
    std::set<std::string> to;
    for (const auto& each : engine.checks->notifications)
      to.insert(each.to);
    return to;
  };
  using Names = std::set<std::string>;
  pass(AdminMessages::GatherTime);
  EXPECT_EQ(engine.service.Owed().size(), 2u);
  settings.admin.to = "666";
  settings.alarms.messages.webhooks.clear();
  engine.service.Configure(settings);
  EXPECT_EQ(engine.service.Owed().size(), 1u) << "nothing for a webhook that is no more";
  EXPECT_EQ(pass(std::chrono::seconds(1)), Names{"666"}) << "at once";
  settings.admin = {};
  settings.heartbeat = "http://beat/";
  settings.heartbeatPeriod = std::chrono::seconds(5);
  engine.service.Configure(settings);
  EXPECT_EQ(pass(std::chrono::seconds(5)), Names{"heartbeat"});
  EXPECT_TRUE(engine.service.Owed().empty());
}

TEST(ServiceHealth, AnEndWithoutTheStateFileIsNoSuccess) {
  const TempFolder folder;
  tests::WriteFile(folder / "NorvaneEngine.dat", "no data file");  // nothing is to be saved
  Moment now;
  Engine engine(folder.Path(), [&] { return now; }, {"TEL://", "555"});
  engine.checks->notifyOutcome = "no route";  // a message that stays owed
  engine.Commit("x", "1");
  const auto before = ::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit none{0, limit.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &none);
  now += AdminMessages::GatherTime;
  engine.service.OnSecond();
  const auto save = [&](engine::Completion done) { engine.service.SaveAll(std::move(done)); };
  EXPECT_EQ(engine.Await(save), console::engine::EngineErrorCode::Failed);
  EXPECT_EQ(engine.Shutdown(), console::engine::EngineErrorCode::Failed);
  ::setrlimit(RLIMIT_FSIZE, &limit);
  ::signal(SIGXFSZ, before);
}

TEST(ServiceHealth, ACopyThatCouldNotBeMadeIsMadeLater) {
  const TempFolder folder;
  const auto copy = folder / "NorvaneEngine.dat.1";
  Moment now{std::chrono::hours(1)};
  Engine engine(folder.Path(), [&] { return now; });
  engine.Add("WebMonitor Of a");
  EXPECT_EQ(engine.Save(folder / "NorvaneEngine.dat"), std::nullopt);
  engine.RunUntil([&] { return fs::exists(copy); });
  fs::remove(copy);
  fs::create_directories(copy + "/in the way");
  engine.Add("WebMonitor Of b");
  now += std::chrono::hours(2);
  EXPECT_EQ(engine.Save(folder / "NorvaneEngine.dat"), std::nullopt);
  engine.RunUntil([&] { return engine.Conditions().size() == 1; });
  fs::remove_all(copy);
  now += std::chrono::minutes(2);
  engine.service.OnSecond();
  engine.RunUntil([&] { return engine.Conditions().empty(); });
  EXPECT_TRUE(fs::is_regular_file(copy));
}

TEST(ServiceHealth, ANotificationThatIsNotAcceptedIsAConditionUntilOneIs) {
  const TempFolder folder;
  Moment now;
  Engine engine(folder.Path(), [&] { return now; });
  engine.checks->notifyOutcome = "no route";
  const auto id = engine.Add("WebMonitor Of a", "Enable");
  engine.service.Set(id, keys::Interval, "86400");
  engine.service.Set(id, keys::NotifyMode, "TEL://");
  engine.service.Set(id, keys::NotifyPager, "555");
  engine.service.Set(id, keys::MaxFailTimes, "0");
  engine.service.Notify(id, [](std::exception_ptr, const CheckResult&) {});
  engine.service.OnWake();
  EXPECT_EQ(engine.Conditions(), Calls{}) << "whoever asked for it is told";
  const auto failAndRecover = [&] {
    for (const char* outcome : {"down", "Ok"}) {
      engine.checks->Report(id, 0, outcome);
      engine.service.OnWake();
      for (const char* value : {"1", "2"})  // when all is on disk
        engine.Commit("x", value);
    }
  };
  failAndRecover();
  const Calls failed{"notification of WebMonitor Of a failed: no route"};
  EXPECT_EQ(engine.Conditions(), failed);
  now += std::chrono::hours(20);
  failAndRecover();
  now += std::chrono::hours(3);
  engine.service.OnSecond();
  engine.service.OnWake();
  EXPECT_EQ(engine.Conditions(), failed) << "it still fails";
  now += std::chrono::minutes(1);  // beyond the pause for a server that failed twice
  engine.checks->notifyOutcome = "Ok";
  failAndRecover();
  EXPECT_EQ(engine.Conditions(), Calls{});
  engine.checks->notifyOutcome = "no route";
  failAndRecover();
}

TEST(ServiceHealth, WhatIsGivenUpIsAConditionOfEachMonitorAndNotResolved) {
  const TempFolder folder;
  Moment now;
  {
    Engine engine(folder.Path(), [&] { return now; });
    engine.checks->notifyOutcome = "no route";
    for (const char* name : {"WebMonitor Of a", "WebMonitor Of b"}) {
      const auto id = engine.Add(name, "Enable");
      engine.service.Set(id, keys::NotifyMode, "TEL://");
      engine.service.Set(id, keys::NotifyPager, "555");
      engine.service.Set(id, keys::MaxFailTimes, "0");
      engine.checks->Report(id, 0, "down");
      engine.service.OnWake();
      for (const char* value : {"1", "2"})  // when all is on disk
        engine.Commit("x", value);
      engine.service.Set(id, keys::Interval, "86400");
    }
    EXPECT_EQ(engine.Conditions().size(), 1u);
    now += std::chrono::hours(25);
    engine.service.OnSecond();
    engine.service.OnWake();
    EXPECT_EQ(engine.Conditions(), (Calls{"notification of WebMonitor Of a given up: no route",
                                          "notification of WebMonitor Of b given up: no route"}));
  }
  EXPECT_EQ(tests::ReadFile(folder / "log/engine.log").find("resolved"), std::string::npos);
}

TEST(ServiceHealth, LogFilesThatCannotBeWrittenAreOneCondition) {
  const TempFolder folder;
  Moment now;
  Engine engine(folder.Path(), [&] { return now; });
  const std::string bad[] = {folder / "a", folder / "b"};
  for (const auto& log : bad) {
    fs::create_directory(log);
    const auto id = engine.Add("WebMonitor Of " + log.substr(log.size() - 1));
    engine.service.Set(id, keys::LogFile, log);
    engine.checks->Report(id, 0, "Ok");
  }
  const auto awaitConditions = [&](const Calls& conditions) {
    engine.RunUntil([&] { return engine.Conditions() == conditions; });
  };
  const auto problemOf = [](const std::string& log) {
    return "log file " + log + " cannot be written: Is a directory";
  };
  awaitConditions({problemOf(bad[0]) + " (and 1 more)"});
  fs::remove(bad[0]);
  now += std::chrono::minutes(1);
  engine.service.OnSecond();
  awaitConditions({problemOf(bad[1])});
  fs::remove(bad[1]);
  now += std::chrono::minutes(1);
  engine.service.OnSecond();
  awaitConditions({});
}

TEST(ServiceHealth, CommandsThatHoldUpOthersAreAConditionForAWhile) {
  const TempFolder folder;
  Moment now;
  Engine engine(folder.Path(), [&] { return now; });
  const auto id = engine.Add("WebMonitor Of a");
  engine.checks->Report(CommandEvent{id, {}, "command x waits", true});
  engine.checks->Report(CommandEvent{id, {}, "command y started"});
  engine.service.OnWake();
  now += std::chrono::minutes(10) - std::chrono::seconds(1);
  engine.service.OnSecond();
  EXPECT_EQ(engine.Conditions(), Calls{"WebMonitor Of a: command x waits"});
  now += std::chrono::seconds(1);
  engine.service.OnSecond();
  EXPECT_EQ(engine.Conditions(), Calls{});
}

}  // namespace
}  // namespace norvane::engine
