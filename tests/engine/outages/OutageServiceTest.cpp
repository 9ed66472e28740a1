#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <regex>

#include "tests/engine/TestEngine.h"
#include "tests/engine/outages/OutageStory.h"
#include "tests/support/Files.h"

namespace norvane::engine {
namespace {

TEST_F(OutageStory, IsLivedThroughWithARestartInTheMiddle) {
  StartWithMonitor();
  EXPECT_EQ(Check("Ok"), Calls{});
  EXPECT_EQ(Check("HTTP status 503"), Calls{});
  EXPECT_EQ(Check("HTTP status 503"), Calls{"Launch down.sh"});
  EXPECT_EQ(Check("HTTP status 503"), (Calls{"Launch down.sh", "NotifyOnce TEL:// 555"}));
  EXPECT_EQ(Check("HTTP status 503"), Calls{});
  Shutdown();
  Start();
  EXPECT_EQ(Check("HTTP status 503"), Calls{});
  EXPECT_EQ(Failures(), 5);
  m_now += std::chrono::hours(1);
  EXPECT_EQ(Check("HTTP status 503"), Calls{});
  EXPECT_EQ(Check("Ok"), Calls{"Launch up.sh"});
  EXPECT_EQ(Failures(), 0);
  EXPECT_EQ(m_engine->checks->launches[0].environment,
            (Calls{"NORVANE_MONITOR=WebMonitor Of shop", "NORVANE_TYPE=WebMonitor",
                   "NORVANE_TARGET=http://shop/", "NORVANE_RESULT=Ok", "NORVANE_FAILURES=6"}));
  EXPECT_EQ(Check("Ok"), Calls{});
  EXPECT_EQ(Check("HTTP status 503"), Calls{});
  EXPECT_EQ(Check("Ok"), Calls{}) << "no recovery without an outage";
  const std::string down = "failed: HTTP status 503";
  EXPECT_EQ(Log(), (Calls{"good: Ok", down, down, "outage begins after 2 failed checks in a row", down,
                          "notification owed", "notification sent", down, down, down, "good: Ok",
                          "outage ends after 6 failed checks", "good: Ok", down, "good: Ok"}));
}

TEST_F(OutageStory, FailuresInARowOutliveEachEnd) {
  for (const bool isOrderly : {true, false}) {
    SCOPED_TRACE(isOrderly);
    StartWithMonitor();
    EXPECT_EQ(m_engine->Save(m_folder / "NorvaneEngine.dat"), std::nullopt);
    Calls calls;
    for (const char* outcome : {"down", "Ok", "down", "down", "down", "down", "Ok"}) {
      for (const auto& call : Check(outcome))
        calls.push_back(call);
      Wait(std::chrono::seconds(1));  // counts are written once a second
      Restart(isOrderly);
    }
    EXPECT_EQ(calls, (Calls{"Launch down.sh", "Launch down.sh", "NotifyOnce TEL:// 555", "Launch up.sh"}));
    m_engine->service.Remove(Id());
    Shutdown();
  }
}

TEST_F(OutageStory, AnOwedMessageOutlivesItsOutageAndEachEnd) {
  for (const bool isOrderly : {true, false}) {
    SCOPED_TRACE(isOrderly);
    StartWithMonitor();
    EXPECT_EQ(m_engine->Save(m_folder / "NorvaneEngine.dat"), std::nullopt);
    m_engine->checks->notifyOutcome = "no modem configured";
    for (int i = 0; i < 3; ++i)
      Check("down");
    ASSERT_EQ(Messages().size(), 1u);
    const auto identity = Messages()[0].identity;
    Restart(isOrderly);
    m_engine->checks->notifyOutcome = "no modem configured";
    EXPECT_EQ(Check("Ok"), Calls{"Launch up.sh"});
    Restart(isOrderly);
    Wait(MessageSender::MaxPause);
    ASSERT_EQ(Messages().size(), 1u);
    EXPECT_EQ(Messages()[0].identity, identity);
    EXPECT_TRUE(Has(Messages()[0].body, "Last result: down\n")) << Messages()[0].body;
    EXPECT_TRUE(Has(Messages()[0].body, "The service was down from ")) << Messages()[0].body;
    Restart(isOrderly);
    Wait(MessageSender::MaxPause);
    EXPECT_EQ(Messages().size(), 0u);
    EXPECT_EQ(m_engine->service.Owed().size(), 0u);
    m_engine->service.Remove(Id());
    Shutdown();
  }
}

TEST_F(OutageStory, AnOutageThatEndsBeforeItsBeginningIsWrittenIsTold) {
  const Calls outcomes{"down", "down", "down", "Ok"};
  for (std::size_t first = 0; first < outcomes.size(); ++first) {
    SCOPED_TRACE(first);
    StartWithMonitor();
    EXPECT_EQ(m_engine->Save(m_folder / "NorvaneEngine.dat"), std::nullopt);
    m_engine->checks->holdNotifications = true;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
      m_engine->checks->Report(Id(), 0, outcomes[i]);
      if (i + 1 == first) m_engine->service.OnWake();  // the rest comes while that is being written
    }
    m_engine->service.OnWake();
    Restart(false);
    Wait(MessageSender::MaxPause);
    ASSERT_EQ(Messages().size(), 1u);
    EXPECT_TRUE(Has(Messages()[0].body, "The service was down from ")) << Messages()[0].body;
    m_engine->service.Remove(Id());
    Shutdown();
  }
}

TEST_F(OutageStory, ARecoveryIsToldOnceIfTheOutageWas) {
  m_alarms.tellsRecovery = true;
  StartWithMonitor();
  Set(keys::NotifyMsg, "shop is down");
  Check("down");
  Check("down");
  EXPECT_EQ(Check("Ok"), Calls{"Launch up.sh"}) << "nobody was told of the outage";
  for (int i = 0; i < 3; ++i)
    Check("down");
  Restart(true);
  EXPECT_EQ(Check("Ok"), (Calls{"Launch up.sh", "NotifyOnce TEL:// 555"}));
  EXPECT_TRUE(Messages().back().message.starts_with("Resolved: shop is down (down from "))
      << Messages().back().message;
  m_engine->checks->holdNotifications = true;
  for (int i = 0; i < 3; ++i)
    Check("down");
  Check("Ok");
  const auto [id, ticket] = m_engine->checks->held.back();
  m_engine->checks->ReportNotification(id, ticket, "Ok");
  Settle();
  EXPECT_TRUE(Messages().back().message.starts_with("Resolved: ")) << "the first did not tell of the end";
  EXPECT_EQ(Messages().size(), 3u);
}

TEST_F(OutageStory, NumbersThatChangeInItDoNotEndIt) {
  for (const bool restarts : {false, true}) {
    SCOPED_TRACE(restarts);
    StartWithMonitor();
    for (int i = 0; i < 3; ++i)
      Check("down");
    Set(keys::FailTimes, "9");
    if (restarts) {
      Shutdown();
      Start();
    }
    EXPECT_EQ(Check("down"), Calls{});
    EXPECT_EQ(Check("Ok"), Calls{"Launch up.sh"});
    m_engine->service.Remove(Id());
    Shutdown();
  }
}

TEST_F(OutageStory, EachOutageHasAMessageOfItsOwn) {
  StartWithMonitor();
  m_engine->checks->holdNotifications = true;
  for (int i = 0; i < 3; ++i)
    Check("down");
  Check("Ok");
  for (int i = 0; i < 3; ++i)
    Check("down");
  EXPECT_EQ(Messages().size(), 1u);
  const auto [id, ticket] = m_engine->checks->held[0];
  m_engine->checks->ReportNotification(id, ticket, "Ok");
  Settle();
  ASSERT_EQ(Messages().size(), 2u);
  EXPECT_NE(Messages()[0].identity, Messages()[1].identity);
  EXPECT_FALSE(Has(Messages()[1].message, "down from")) << "its outage goes on";
}

TEST_F(OutageStory, TheEndWaitsForWhatIsBeingSentOrStarted) {
  for (const bool isInTime : {true, false}) {
    SCOPED_TRACE(isInTime);
    StartWithMonitor();
    m_engine->checks->holdNotifications = m_engine->checks->holdLaunches = true;
    for (int i = 0; i < 2; ++i)
      Check("down");
    Set(keys::Command, "");
    Check("down");
    std::optional<std::exception_ptr> end;
    m_engine->service.Shutdown([&](std::exception_ptr error) { end = error; });
    Settle();
    EXPECT_FALSE(end.has_value());
    const auto [id, ticket] = m_engine->checks->held[0];
    const auto launch = m_engine->checks->launches[0];
    if (isInTime) {
      m_engine->checks->ReportNotification(id, ticket, "Ok");
      m_engine->checks->Report(LaunchProgress{launch.id, launch.ticket, LaunchProgress::State::Over});
    } else {
      Wait(std::chrono::seconds(4));
      EXPECT_FALSE(end.has_value());
      Wait(std::chrono::seconds(1));
    }
    m_engine->RunUntil([&] { return end.has_value(); });
    m_engine.reset();
    Start();
    auto calls = m_engine->checks->calls;
    std::erase_if(calls, [](const std::string& call) { return call.starts_with("Start"); });
    EXPECT_EQ(calls, isInTime ? Calls{} : (Calls{"Launch down.sh", "NotifyOnce TEL:// 555"}));
    Restart(true);
    EXPECT_EQ(m_engine->checks->launches.size(), 0u);
    m_engine->service.Remove(Id());
    Shutdown();
  }
}

TEST_F(OutageStory, OutagesOutliveADataFileThatCannotBeRead) {
  StartWithMonitor();
  const auto data = m_folder / "NorvaneEngine.dat", copy = m_folder / "copy.dat";
  for (int i = 0; i < 3; ++i)
    Check("down");
  EXPECT_EQ(m_engine->Save(copy), std::nullopt);
  Shutdown();
  tests::WriteFile(data, "damaged");
  Start();
  Restart(true);
  EXPECT_EQ(m_engine->Load(copy), std::nullopt);
  EXPECT_EQ(Check("down"), Calls{}) << "the outage is known, and told";
  EXPECT_EQ(Check("Ok"), Calls{"Launch up.sh"});
}

TEST_F(OutageStory, StoppingEndsItSilently) {
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"status",
       [&] {
         Set(keys::Status, "Disable");
         Check("down");
         EXPECT_EQ(Failures(), 0) << "the check of a stopped monitor counts for nothing";
         Set(keys::Status, "Enable");
       }},
      {"status before a restart",
       [&] {
         Set(keys::Status, "Disable");
         Shutdown();
         Start();
         Set(keys::Status, "Enable");
       }},
      {"removal",
       [&] {
         m_engine->service.Remove(Id());
         m_engine->service.Add(Name);
         Set(keys::LogFile, m_folder / "shop.log");
         Set(keys::CommandSucc, "up.sh");
         Set(keys::Status, "Enable");
       }},
  };
  for (const auto& [name, stop] : rows) {
    SCOPED_TRACE(name);
    for (const char* file : {"NorvaneEngine.dat", "NorvaneEngine.journal", "NorvaneEngine.state"})
      std::filesystem::remove(m_folder / file);
    StartWithMonitor();
    m_engine->checks->notifyOutcome = "no modem configured";
    for (int i = 0; i < 4; ++i)
      Check("down");
    stop();
    EXPECT_EQ(Check("Ok"), Calls{});
    EXPECT_EQ(m_engine->service.Owed().size(), 0u);
    const auto log = Log();
    EXPECT_EQ(std::ranges::count_if(
                  log, [](const auto& line) { return line.starts_with("notification dropped: "); }),
              1);
    std::filesystem::remove(m_folder / "shop.log");
  }
}

TEST_F(OutageStory, ALastingOutageWritesNothing) {
  StartWithMonitor();
  for (int i = 0; i < 10; ++i)
    Check("down");
  const auto before = std::filesystem::last_write_time(m_folder / "NorvaneEngine.state");
  for (int i = 0; i < 1000; ++i) {
    m_engine->checks->Report(Id(), 0, "down");
    m_engine->service.OnWake();
    m_engine->service.OnSecond();
  }
  m_engine.reset();  // finishes what was handed to the writer
  EXPECT_EQ(std::filesystem::last_write_time(m_folder / "NorvaneEngine.state"), before);
}

TEST_F(OutageStory, WhatCouldNotBeWrittenIsWrittenLaterUnlessItIsOutOfDate) {
  for (const bool beginIsLost : {true, false}) {
    SCOPED_TRACE(beginIsLost);
    StartWithMonitor();
    Check("down");
    if (!beginIsLost) Check("down");
    EXPECT_EQ(m_engine->Commit("x", "1"), std::nullopt);
    // A full disk, as far as this process goes.
    const auto before = ::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none{0, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &none);
    Check(beginIsLost ? "down" : "Ok");
    EXPECT_EQ(m_engine->Commit("x", "2"), console::engine::EngineErrorCode::Failed);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ::signal(SIGXFSZ, before);
    if (beginIsLost) Check("Ok");
    Shutdown();
    Start();
    EXPECT_EQ(Check("Ok"), Calls{}) << "the outage had ended before";
    m_engine->service.Remove(Id());
    Shutdown();
  }
}

TEST_F(OutageStory, DoesNotComeBackForAMonitorThatIsStoppedAtTheStart) {
  StartWithMonitor();
  for (int i = 0; i < 2; ++i)
    Check("down");
  EXPECT_EQ(m_engine->Commit("x", "1"), std::nullopt);
  const auto state = m_folder / "NorvaneEngine.state";
  const auto withOutage = tests::ReadFile(state);
  Set(keys::Status, "Disable");
  Shutdown();
  tests::WriteFile(state, withOutage);  // the end was not written any more
  Start();
  Set(keys::Status, "Enable");
  EXPECT_EQ(Check("Ok"), Calls{});
}

TEST_F(OutageStory, ANotificationOnDemandTellsHowThingsStand) {
  StartWithMonitor();
  std::string answer;
  const auto notify = [&] {
    m_engine->service.Notify(Id(),
                             [&](std::exception_ptr, const CheckResult& result) { answer = result.reason; });
    m_engine->service.OnWake();
  };
  Check("Ok");
  notify();
  EXPECT_EQ(answer, "Ok");
  EXPECT_EQ(
      m_engine->checks->notifications.back().body,
      "Monitor: WebMonitor Of shop\nTarget: http://shop/\nLast result: Ok\nThe monitor is not failing.\n");
  Check("HTTP status 503");
  m_engine->checks->notifyOutcome = "no modem configured";
  notify();
  EXPECT_EQ(answer, "no modem configured");
  const std::regex failing(
      "[^]*Last result: HTTP status 503\nFailing since: 20..-[^\n]*\nFailed checks in a row: 1\n");
  EXPECT_TRUE(std::regex_match(m_engine->checks->notifications.back().body, failing))
      << m_engine->checks->notifications.back().body;
}

TEST_F(OutageStory, OutputOfProgramsGoesToItsOwnLog) {
  StartWithMonitor();
  m_engine->checks->Report(CommandOutput{Id(), {}, "shop: hello"});
  m_engine->checks->Report(CommandEvent{Id(), {}, "command ended"});
  m_engine->service.OnWake();
  EXPECT_EQ(Log(), Calls{"command ended"});
  EXPECT_TRUE(tests::ReadFile(m_folder / "log/commands.log").ends_with(" shop: hello\n"));
}

}  // namespace
}  // namespace norvane::engine
