#include "engine/history/History.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "loopback/TempFolder.h"
#include "tests/engine/TestEngine.h"
#include "tests/support/Files.h"

namespace norvane::engine {
namespace {

namespace ce = console::engine;
namespace fs = std::filesystem;
namespace keys = ce::keys;
using loopback::TempFolder;
using std::chrono::seconds;

constexpr const char* Name = "WebMonitor Of a";

/// A service whose wall clock is the test's.
class WatchedEngine {
 public:
  explicit WatchedEngine(const std::string& folder, seconds now = seconds(0))
      : m_now(Start + now),
        engine(folder, [this] { return m_moment; }, {}, {.wallClock = [this] { return m_now; }}) {}

  void Advance(seconds time) {
    m_now += time;
    m_moment += time;
    engine.service.OnSecond();
  }
  /// A check that begins now.
  void Check(const std::string& name, const std::string& reason) {
    const auto id = engine.service.Table().Find(name)->id;
    auto result = tests::FakeWorker::ResultOf(reason);
    result.at = m_now;
    engine.checks->Report(CheckEnded{id, 0, result});
    engine.service.OnWake();
  }
  ce::MonitorHistory History(const std::string& name = Name) {
    ce::MonitorHistory history;
    const auto error = engine.Await([&](auto done) {
      engine.service.ReadHistory(
          {name, Start, ce::HistoryQuery::Time::max(), seconds(0)},
          [&history, done](const std::exception_ptr& failure, ce::MonitorHistory read) {
            history = std::move(read);
            done(failure);
          });
    });
    EXPECT_FALSE(error.has_value());
    return history;
  }
  /// Until the history's thread has done all.
  [[nodiscard]] bool HasCondition(const std::string& part) {
    return std::ranges::any_of(engine.Conditions(),
                               [&](const auto& text) { return text.find(part) != std::string::npos; });
  }

  static constexpr std::chrono::system_clock::time_point Start{seconds(20000 * 86400)};

 private:
  std::chrono::system_clock::time_point m_now;
  std::chrono::steady_clock::time_point m_moment{std::chrono::hours(1)};

 public:
  tests::TestEngine engine;
};

TEST(History, ResultsBecomeUptimeOutagesAndAnswerTimes) {
  const TempFolder folder;
  WatchedEngine watched(folder.Path());
  watched.Advance(seconds(0));
  const auto id = watched.engine.Add(Name, "Enable");
  watched.engine.service.Set(id, keys::FailTimes, "2");
  watched.Advance(seconds(10));
  watched.Check(Name, "Ok");
  watched.Advance(seconds(10));
  const std::string longReason(5000, 'x');
  watched.Check(Name, "a");
  watched.Advance(seconds(10));
  watched.Check(Name, longReason);
  watched.Advance(seconds(10));
  watched.Check(Name, longReason);
  watched.Advance(seconds(10));
  watched.Check(Name, "Ok");
  watched.Advance(seconds(10));
  (void)watched.engine.Await(
      [&](auto done) { watched.engine.service.Silence({Name}, seconds(20), "", std::move(done)); });
  watched.Advance(seconds(30));
  watched.engine.service.Set(id, keys::Status, "Disable");
  watched.Check(Name, "by hand");  // of a stopped monitor: no part of its history
  watched.Advance(seconds(240));
  const auto history = watched.History();
  EXPECT_EQ(history.checks, 5u);
  EXPECT_EQ(history.failures, 3u);
  EXPECT_EQ(history.answers.p50, 7u);
  EXPECT_EQ(history.states,
            (ce::StateTimes{seconds(30), seconds(30), seconds(240), seconds(20), seconds(10)}));
  ASSERT_EQ(history.outages.size(), 1u);
  EXPECT_EQ(history.outages[0],
            (ce::PastOutage{WatchedEngine::Start + seconds(20), WatchedEngine::Start + seconds(50),
                            std::string(HistoryFile::MaxReasonSize, 'x'), true}));
}

TEST(History, TheNextEngineGoesOnAndTellsTheTimeBetween) {
  const TempFolder folder;
  {
    WatchedEngine watched(folder.Path());
    watched.engine.Add(Name, "Enable");
    watched.Advance(seconds(0));
    watched.Check(Name, "Ok");
    watched.Advance(seconds(100));
    ASSERT_FALSE(watched.engine.Shutdown());
  }
  WatchedEngine watched(folder.Path(), seconds(160));
  watched.Check(Name, "Ok");
  watched.Advance(seconds(140));
  EXPECT_EQ(watched.History().states, (ce::StateTimes{.up = seconds(240), .unwatched = seconds(60)}));
}

TEST(History, WhatCannotBeReadIsKeptAndBegunAnew) {
  struct Row {
    const char* name;
    void (*damage)(const std::string& path);
  };
  const Row rows[] = {
      {"no database", [](const std::string& path) { tests::WriteFile(path, std::string(9000, 'x')); }},
      {"of somebody else",
       [](const std::string& path) {
         fs::remove(path);
         Database(path, Database::Mode::New).Run("CREATE TABLE a(b);PRAGMA application_id=7");
       }},
      {"of a newer version",
       [](const std::string& path) { Database(path, Database::Mode::Write).Run("PRAGMA user_version=99"); }},
      {"a table gone",
       [](const std::string& path) { Database(path, Database::Mode::Write).Run("DROP TABLE fresh"); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const TempFolder folder;
    const auto path = folder / "NorvaneHistory.db";
    {
      WatchedEngine watched(folder.Path());
      watched.engine.Add(Name, "Enable");
      ASSERT_FALSE(watched.engine.Shutdown());
    }
    row.damage(path);
    WatchedEngine watched(folder.Path(), seconds(60));
    watched.Advance(seconds(1));
    watched.engine.RunUntil([&] { return watched.HasCondition("the history begins anew"); });
    watched.Check(Name, "Ok");
    watched.Advance(seconds(1));
    EXPECT_EQ(watched.History().checks, 1u);
    EXPECT_FALSE(watched.engine.Save("NorvaneEngine.dat"));
  }
}

TEST(History, ADiskThatRefusesItStopsNothingAndLosesNoChange) {
  const TempFolder folder;
  const auto path = folder / "NorvaneHistory.db";
  fs::create_directory(path);
  WatchedEngine watched(folder.Path());
  watched.engine.Add(Name, "Enable");
  watched.Advance(seconds(1));
  watched.engine.RunUntil([&] { return watched.HasCondition("history: "); });
  watched.Check(Name, "a");
  EXPECT_EQ(watched.engine.Attr(Name, keys::Result), "a");
  EXPECT_FALSE(watched.engine.Save("NorvaneEngine.dat"));
  watched.Advance(seconds(1));
  fs::remove(path);
  watched.engine.RunUntil([&] {
    watched.Advance(seconds(1));
    return !watched.HasCondition("history: ");
  });
  EXPECT_EQ(watched.History().outages.size(), 1u);
}

TEST(History, OneThatIsRemovedWhileTheEngineRunsIsBegunAnew) {
  const TempFolder folder;
  WatchedEngine watched(folder.Path());
  watched.engine.Add(Name, "Enable");
  watched.Check(Name, "Ok");
  watched.Advance(seconds(1));
  EXPECT_EQ(watched.History().checks, 1u);
  fs::remove(folder / "NorvaneHistory.db");
  watched.Check(Name, "Ok");
  watched.Advance(History::MaxAge);
  watched.engine.RunUntil([&] { return watched.HasCondition("was replaced"); });
  watched.engine.RunUntil([&] {
    watched.Advance(seconds(1));
    return !watched.HasCondition("history: ");
  });
  watched.Check(Name, "Ok");
  watched.Advance(seconds(1));
  EXPECT_EQ(watched.History().checks, 1u);
}

}  // namespace
}  // namespace norvane::engine
