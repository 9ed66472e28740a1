#include "engine/checks/Schedule.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;
using tests::Rows;

/// A moment in milliseconds after some beginning.
Moment At(int milli) {
  return Moment{std::chrono::hours(100)} + milliseconds(milli);
}

constexpr MonitorId Id = 1;

struct Step {
  enum What { Start, End, Interval, Hasten } what;
  int at;                // Start: when `DequeueDue` is asked; Interval: the new one
  bool expected = true;  // Start: something is due; End: the check has outlasted its interval
  int now = 0;           // Interval: when it is set
};

TEST(Schedule, HoldsIntervalsWithoutDriftOrOverlap) {
  using S = Step;
  // The first check is due at 100, then every 1000.
  const Rows<const char*, std::vector<Step>, int> rows = {
      {"not before its time", {{S::Start, 99, false}}, 100},
      {"on time", {{S::Start, 100}, {S::End, 150, false}}, 1100},
      {"a late start does not shift the next", {{S::Start, 160}, {S::End, 170, false}}, 1100},
      {"no start while it runs", {{S::Start, 100}, {S::Start, 5000, false}}, -1},
      {"outlasted: the next starts at its end", {{S::Start, 100}, {S::End, 1500, true}}, 1500},
      {"and intervals count from there",
       {{S::Start, 100}, {S::End, 1500, true}, {S::Start, 1505}, {S::End, 1510, false}},
       2500},
      {"exactly the interval is outlasted", {{S::Start, 100}, {S::End, 1100, true}}, 1100},
      {"late, but not long", {{S::Start, 1090}, {S::End, 1190, false}}, 1100},
      {"missed ones are not made up for", {{S::Start, 7350}, {S::End, 7400, false}}, 8100},
      {"a shorter interval counts from the last start",
       {{S::Start, 100}, {S::End, 150, false}, {S::Interval, 500}},
       600},
      {"a longer one too", {{S::Start, 100}, {S::End, 150, false}, {S::Interval, 3000}}, 3100},
      {"also while it runs", {{S::Start, 100}, {S::Interval, 300}, {S::End, 150, false}}, 400},
      {"outlasted by the new measure", {{S::Start, 100}, {S::Interval, 500}, {S::End, 700, true}}, 700},
      {"not yet started, it keeps its first moment", {{S::Interval, 500}}, 100},
      {"a shorter one that has passed already makes nothing late",
       {{S::Start, 100}, {S::End, 150, false}, {S::Interval, 500, {}, 900}},
       900},
      {"but what was late stays so",
       {{S::Start, 100}, {S::End, 150, false}, {S::Interval, 500, {}, 7000}},
       1100},
      {"hastened, and intervals count from there",
       {{S::Start, 100}, {S::End, 150, false}, {S::Hasten, 400}, {S::Start, 405}, {S::End, 410, false}},
       1400},
      {"not hastened to a later moment", {{S::Start, 100}, {S::End, 150, false}, {S::Hasten, 1200}}, 1100},
  };
  for (const auto& [name, steps, nextDue] : rows) {
    SCOPED_TRACE(name);
    Schedule schedule;
    schedule.Add(Id, At(100), milliseconds(1000));
    for (const auto& step : steps) {
      switch (step.what) {
        case S::Start:
          EXPECT_EQ(schedule.DequeueDue(At(step.at)).has_value(), step.expected);
          if (step.expected) schedule.Begin(Id, At(step.at));
          break;
        case S::End:
          EXPECT_EQ(schedule.End(Id, At(step.at)), step.expected);
          break;
        case S::Interval:
          schedule.SetInterval(Id, milliseconds(step.at), At(step.now));
          break;
        case S::Hasten:
          schedule.Hasten(Id, At(step.at));
      }
    }
    EXPECT_EQ(schedule.NextStart(), nextDue < 0 ? std::nullopt : std::optional(At(nextDue)));
  }
}

TEST(Schedule, CountsTheStartsThatPassWhileACheckWaits) {
  Schedule schedule;
  schedule.Add(Id, At(100), milliseconds(1000));
  EXPECT_EQ(schedule.DequeueDue(At(150)), Id);
  const auto late = schedule.Begin(Id, At(2350));
  EXPECT_EQ(late.late, milliseconds(2250));
  EXPECT_EQ(late.missed, 2);
  EXPECT_FALSE(schedule.End(Id, At(2360))) << "waiting is none of its time";
  EXPECT_EQ(schedule.NextStart(), At(3100));
}

TEST(Schedule, GivesTheLongestOverdueFirst) {
  Schedule schedule;
  schedule.Add(1, At(300), milliseconds(1000));
  schedule.Add(2, At(100), milliseconds(1000));
  schedule.Add(3, At(200), milliseconds(1000));
  schedule.Remove(3);
  EXPECT_EQ(schedule.DequeueDue(At(400)), 2u);
  EXPECT_EQ(schedule.DequeueDue(At(400)), 1u);
  EXPECT_EQ(schedule.DequeueDue(At(400)), std::nullopt);
  schedule.Begin(2, At(400));
  schedule.Remove(1);  // while it runs
  schedule.Remove(1);
  EXPECT_FALSE(schedule.End(2, At(410)));
  EXPECT_EQ(schedule.NextStart(), At(1100));
}

TEST(Schedule, BatchesWhatFallsDueSoon) {
  const std::vector<int> full(Schedule::MaxBatch, 100);
  const auto fullAnd = [&](int due) {
    auto all = full;
    all.push_back(due);
    return all;
  };
  const struct {
    const char* name;
    std::vector<int> due;
    int start;
  } rows[] = {
      {"alone", {100}, 100},
      {"the other comes too late", {100, 141}, 100},
      {"the last of them", {140, 100, 120}, 140},
      {"counted from the first", {100, 130, 160}, 130},
      {"a full batch", fullAnd(130), 100},
  };
  for (const auto& [name, due, start] : rows) {
    SCOPED_TRACE(name);
    Schedule schedule;
    for (MonitorId id = 0; id < due.size(); ++id)
      schedule.Add(id, At(due[id]), milliseconds(1000));
    EXPECT_EQ(schedule.NextStart(), At(start));
  }
}

}  // namespace
}  // namespace norvane::engine
