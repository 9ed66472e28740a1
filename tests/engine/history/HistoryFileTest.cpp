#include "engine/history/HistoryFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <random>

#include "console/engine/EngineError.h"
#include "engine/store/StoreError.h"
#include "loopback/TempFolder.h"

namespace norvane::engine {
namespace {

namespace ce = console::engine;
using loopback::TempFolder;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Kind = StateChange::Kind;
using Time = StateChange::Time;

constexpr std::int64_t Day = 86400;
constexpr std::int64_t Begin = 20000 * Day;

Time At(std::int64_t second) {
  return Time(seconds(second));
}

TEST(AnswerSums, PercentilesJoinWithinAnEighth) {
  std::mt19937 random(7);
  std::lognormal_distribution<> usual(5, 1.2);
  for (const std::size_t count : {1u, 2u, 37u, 10800u}) {
    SCOPED_TRACE(count);
    std::vector<std::uint32_t> exact;
    std::vector<AnswerSums> parts(7);
    for (std::size_t i = 0; i < count; ++i) {
      exact.push_back(std::min(static_cast<std::uint32_t>(usual(random)), AnswerSums::MaxMilliseconds));
      parts[i % parts.size()].AddGood(exact.back());
      if (i % 5 == 0) parts[i % parts.size()].AddFailed();
    }
    std::ranges::sort(exact);
    AnswerSums joined;
    for (const auto& part : parts) {
      std::string bytes;
      part.AppendTo(bytes);
      SumsReader reader(bytes);
      joined += reader.Sums();
      EXPECT_TRUE(reader.IsAtEnd());
    }
    EXPECT_EQ(joined.Checks() - joined.Failures(), count);
    const auto answers = joined.Answers();
    EXPECT_EQ(answers.least, exact.front());
    EXPECT_EQ(answers.greatest, exact.back());
    const auto isNear = [&](std::uint32_t told, double part) {
      const double rank = std::ceil(part * static_cast<double>(count));
      const double is = exact[static_cast<std::size_t>(rank) - 1];
      EXPECT_NEAR(told, is, is / 8 + 0.5) << part;
    };
    isNear(answers.p50, 0.50);
    isNear(answers.p95, 0.95);
    isNear(answers.p99, 0.99);
  }
}

TEST(AnswerSums, NoBytesAreReadBeyondTheirEnd) {
  AnswerSums sums;
  for (const std::uint32_t each : {0u, 3u, 900u, 1u << 30})
    sums.AddGood(each);
  std::string bytes;
  sums.AppendTo(bytes);
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_THROW(static_cast<void>(SumsReader(std::string_view(bytes).substr(0, size)).Sums()), StoreError);
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    auto damaged = bytes;
    damaged[random() % damaged.size()] = static_cast<char>(random());
    try {
      static_cast<void>(SumsReader(damaged).Sums());
    } catch (const StoreError&) {
    }
  }
}

struct TimelineRow {
  const char* name;
  std::vector<StateChange> changes;
  ce::StateTimes times;  // of 100 seconds
  std::vector<ce::PastOutage> outages;
};

TEST(StateTimeline, TimesFollowTheChanges) {
  const auto since = At(Begin);
  const auto s = [](int count) { return seconds(count); };
  const auto at = [](int second) { return At(Begin + second); };
  const TimelineRow rows[] = {
      {"nothing known", {}, {.stopped = s(100)}, {}},
      {"as it was before", {{Kind::Up, at(-50), {}, {}}}, {.up = s(100)}, {}},
      {"a failure too few",
       {{Kind::Up, at(0), {}, {}}, {Kind::Failing, at(30), {}, "a"}, {Kind::Up, at(40), {}, {}}},
       {.up = s(90), .down = s(10)},
       {{at(30), at(40), "a", false}}},
      {"an outage that lasts, with the reason that made it one",
       {{Kind::Up, at(0), {}, {}}, {Kind::Failing, at(30), {}, "a"}, {Kind::Down, at(40), {}, "b"}},
       {.up = s(30), .down = s(70)},
       {{at(30), {}, "b", true}}},
      {"an outage of before",
       {{Kind::Down, at(-9), {}, "a"},
        {Kind::Up, at(-5), {}, {}},
        {Kind::Down, at(-3), {}, "b"},
        {Kind::Up, at(1), {}, {}}},
       {.up = s(99), .down = s(1)},
       {{at(-3), at(1), "b", true}}},
      {"stopped ends an outage",
       {{Kind::Down, at(0), {}, "a"},
        {Kind::Stopped, at(20), {}, {}},
        {Kind::Unwatched, at(50), {}, {}},
        {Kind::Up, at(60), {}, {}}},
       {.up = s(40), .down = s(20), .stopped = s(30), .unwatched = s(10)},
       {{at(0), at(20), "a", true}}},
      {"silence ends by itself, and lies over every state of one that runs",
       {{Kind::Silenced, at(-10), at(10), {}},
        {Kind::Down, at(0), {}, "a"},
        {Kind::Silenced, at(50), at(90), {}},
        {Kind::Unsilenced, at(60), {}, {}},
        {Kind::Stopped, at(80), {}, {}}},
       {.down = s(60), .stopped = s(20), .silenced = s(20)},
       {{at(0), at(80), "a", true}}},
      {"an engine that is off watches nobody",
       {{Kind::Up, at(0), {}, {}}, {Kind::EngineOff, at(70), {}, {}}, {Kind::Up, at(90), {}, {}}},
       {.up = s(80), .unwatched = s(20)},
       {}},
      {"nor does it start what was stopped",
       {{Kind::Stopped, at(0), {}, {}}, {Kind::EngineOff, at(70), {}, {}}},
       {.stopped = s(100)},
       {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    StateTimeline timeline(since, at(100), s(7));
    for (const auto& change : row.changes)
      timeline.Add(change);
    timeline.Finish();
    ce::StateTimes sum;
    for (const auto& step : timeline.Steps())
      sum += step;
    EXPECT_EQ(sum, row.times);
    EXPECT_EQ(timeline.Outages(), row.outages);
  }
}

/// Two monitors that fail now and then, written every 5 minutes, and the plain record of it.
class Simulated {
 public:
  static constexpr int Interval = 30;
  static constexpr std::uint32_t Numbers[] = {1, 300};  // of two parts

  explicit Simulated(HistoryFile& file) : m_file(file) {
    HistoryBatch batch{.isWhole = true, .at = At(Begin)};
    for (const auto number : Numbers)
      batch.monitors.push_back({number, NameOf(number), false, true});
    for (std::uint32_t other = 2; other < 300; ++other)
      batch.monitors.push_back({other, NameOf(other), false, false});
    std::ranges::sort(batch.monitors, {}, &HistoryBatch::Monitor::number);
    m_file.Write(batch);
  }
  static std::string NameOf(std::uint32_t number) { return "WebMonitor Of " + std::to_string(number); }

  void RunUntil(std::int64_t end) {
    for (; m_now < end; m_now += 300) {
      HistoryBatch batch{.at = At(m_now + 300), .span = m_now / 300};
      for (const auto number : Numbers)
        for (int second = 0; second < 300; second += Interval)
          Check(number, m_now + second, batch);
      m_file.Write(batch);
      while (m_file.Join(At(m_now + 300))) {
      }
    }
  }

  struct Plain {
    std::uint64_t checks = 0, failures = 0;
    std::uint32_t least = 0, greatest = 0;
    std::int64_t up = 0, down = 0;
  };
  Plain Of(std::uint32_t number, std::int64_t since, std::int64_t until) const {
    Plain plain;
    for (const auto& [at, answer] : m_results.at(number)) {
      if (at < since || at >= until) continue;
      ++plain.checks;
      (answer < 0 ? plain.down : plain.up) += Interval;
      if (answer < 0 && ++plain.failures) continue;
      const auto time = static_cast<std::uint32_t>(answer);
      plain.least = plain.checks - plain.failures == 1 ? time : std::min(plain.least, time);
      plain.greatest = std::max(plain.greatest, time);
    }
    return plain;
  }

 private:
  void Check(std::uint32_t number, std::int64_t at, HistoryBatch& batch) {
    auto& state = m_states[number];
    if (m_random() % 40 == 0) state.isGood = !state.isGood;
    const int answer = state.isGood ? static_cast<int>(20 + m_random() % 500) : -1;
    m_results[number][at] = answer;
    batch.results.push_back({number, answer < 0 ? 5000u : static_cast<std::uint32_t>(answer), answer >= 0});
    const auto kind = state.isGood ? Kind::Up : Kind::Failing;
    if (std::exchange(state.told, kind) != kind)
      batch.changes.push_back({number, {kind, At(at), {}, "down"}});
  }

  struct State {
    bool isGood = true;
    Kind told = Kind::Stopped;
  };
  HistoryFile& m_file;
  std::int64_t m_now = Begin;
  std::mt19937 m_random{3};
  std::map<std::uint32_t, State> m_states;
  std::map<std::uint32_t, std::map<std::int64_t, int>> m_results;  // below 0: failed
};

TEST(HistoryFile, PointsOfAllStepsAreWhatAllResultsAddUpTo) {
  const TempFolder folder;
  const HistoryAges ages{std::chrono::days(2), std::chrono::days(4), std::chrono::days(3650)};
  HistoryFile file(folder.Path(), ages);
  Simulated simulated(file);
  const auto end = Begin + 6 * Day + 4 * 3600 + 600;
  simulated.RunUntil(end);
  struct Row {
    std::int64_t since, askedStep, step;
  };
  const Row rows[] = {{end - 7200, 300, 300},      {end - Day, 900, 900},       {end - 3 * Day, 300, 3600},
                      {end - Day, 0, 300},         {end - 3 * Day, 7200, 7200}, {end - 6 * Day, 3600, Day},
                      {end - 2 * Day, 3600, 3600}, {Begin, 2 * Day, 2 * Day},   {end - 1900, 600, 600}};
  for (const auto& row : rows)
    for (const auto number : Simulated::Numbers) {
      SCOPED_TRACE(std::to_string(row.askedStep) + " since " + std::to_string(row.since - end));
      const auto history =
          file.Read({Simulated::NameOf(number), At(row.since), Time::max(), seconds(row.askedStep)}, At(end));
      ASSERT_EQ(history.step, seconds(row.step));
      EXPECT_LE(history.since, At(row.since));
      for (const auto& point : history.points) {
        const auto start = std::chrono::duration_cast<seconds>(point.start.time_since_epoch()).count();
        const auto plain = simulated.Of(number, start, start + row.step);
        ASSERT_EQ(point.checks, plain.checks) << start - end;
        ASSERT_EQ(point.failures, plain.failures);
        ASSERT_EQ(point.answers.least, plain.least);
        ASSERT_EQ(point.answers.greatest, plain.greatest);
        ASSERT_EQ(point.states.up, seconds(plain.up));
        ASSERT_EQ(point.states.down, seconds(plain.down));
      }
      const auto whole = simulated.Of(
          number, std::chrono::duration_cast<seconds>(history.since.time_since_epoch()).count(), end);
      EXPECT_EQ(history.checks, whole.checks);
      EXPECT_EQ(history.states.down, seconds(whole.down));
    }
}

TEST(HistoryFile, AKillLosesNothingThatWasWritten) {
  const TempFolder folder, copy;
  HistoryFile file(folder.Path(), {});
  Simulated simulated(file);
  for (const std::int64_t hours : {1, 2, 25, 26, 49}) {
    const auto end = Begin + hours * 3600;
    simulated.RunUntil(end);
    for (const char* name : {"NorvaneHistory.db", "NorvaneHistory.db-wal"})
      std::filesystem::copy_file(folder / name, copy / name,
                                 std::filesystem::copy_options::overwrite_existing);
    HistoryFile next(copy.Path(), {});
    const auto later = end + 1800;
    const auto history =
        next.Read({Simulated::NameOf(300), At(Begin), Time::max(), seconds(3600)}, At(later));
    const auto plain = simulated.Of(300, Begin, end);
    EXPECT_EQ(history.checks, plain.checks);
    EXPECT_EQ(history.states.up, seconds(plain.up));
    EXPECT_EQ(history.states.unwatched, seconds(1800));
  }
}

TEST(HistoryFile, AMonitorOfARemovedOnesNameBeginsAnew) {
  const TempFolder folder;
  const HistoryAges ages{std::chrono::days(1), std::chrono::days(2), std::chrono::days(30)};
  HistoryFile file(folder.Path(), ages);
  const std::string name = "WebMonitor Of a";
  const auto checks = [&](std::int64_t now) {
    return file.Read({name, At(Begin), Time::max(), seconds(0)}, At(now)).checks;
  };
  const auto check = [&](std::uint32_t number, std::int64_t now) {
    file.Write({.at = At(now), .span = now / 300, .results = {{number, 5, 1}}});
  };
  EXPECT_THROW(static_cast<void>(checks(Begin)), ce::EngineError);
  file.Write({.monitors = {{1, name, true, true}}, .at = At(Begin)});
  check(1, Begin);
  EXPECT_EQ(checks(Begin + 60), 1u);
  file.Write({.at = At(Begin + 120), .removed = {1}});
  check(1, Begin + 130);  // of a check that was still under way
  EXPECT_EQ(checks(Begin + 180), 1u) << "what was removed is kept";
  file.Write({.monitors = {{2, name, true, true}}, .at = At(Begin + 240)});
  EXPECT_EQ(checks(Begin + 300), 0u);
  check(2, Begin + 300);
  file.Write({.monitors = {{7, name, false, true}}, .isWhole = true, .at = At(Begin + 600)});
  check(7, Begin + 600);
  EXPECT_EQ(checks(Begin + 900), 2u) << "one that is loaded goes on";
  file.Write({.at = At(Begin + 901), .removed = {7}});
  for (const auto days : {10, 40})
    while (file.Join(At(Begin + days * Day))) {
    }
  EXPECT_THROW(static_cast<void>(checks(Begin + 41 * Day)), ce::EngineError) << "it is kept no longer";
}

TEST(HistoryFile, AMonitorThatFlapsKeepsItsLastChangesOnly) {
  const TempFolder folder;
  HistoryFile file(folder.Path(), {});
  HistoryBatch batch{.monitors = {{1, "WebMonitor Of a", true, true}}, .at = At(Begin)};
  file.Write(batch);
  batch = {.at = At(Begin + Day), .span = Begin / 300, .results = {{1, 5, 1}}};
  for (int i = 0; i < 10000; ++i)
    batch.changes.push_back({1, {i % 2 == 0 ? Kind::Failing : Kind::Up, At(Begin + 8 * i), {}, "down"}});
  file.Write(batch);
  while (file.Join(At(Begin + 2 * Day))) {
  }
  const auto history =
      file.Read({"WebMonitor Of a", At(Begin), Time::max(), seconds(0)}, At(Begin + 2 * Day));
  EXPECT_EQ(history.outages.size(), ce::MaxHistoryOutages);
  EXPECT_EQ(history.outages.size() + history.outagesOmitted, 4000u);
  EXPECT_EQ(history.states.down, seconds(8 * 4000));
}

}  // namespace
}  // namespace norvane::engine
