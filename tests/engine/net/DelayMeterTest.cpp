#include "engine/net/DelayMeter.h"

#include <gtest/gtest.h>

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;

TEST(DelayMeter, CountsWhatKeptTheThreadFromItsWork) {
  const struct {
    const char* name;
    int work, round, scheduled,
        delay;  // in milliseconds; how long the round lasted, and what the kernel tells
  } rows[] = {
      {"a short round", 0, 5, 0, 0},
      {"a long round", 0, 30, 0, 25},
      {"a late wake", -2000, 1, 0, 1996},
      {"waiting for a CPU between events", 0, 4, 40, 40},
      {"waiting for a CPU within a long round", 0, 30, 20, 25},
      {"waiting for a CPU, and others too", 0, 30, 28, 28},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    milliseconds scheduled{7000};
    DelayMeter meter([&] { return scheduled; });
    DelayMeter::Moment now{std::chrono::hours(1)};
    meter.Work(now);
    const auto before = meter.At(now);
    for (int round = 1; round <= 2; ++round) {
      now += milliseconds(100);
      meter.Rest(now - milliseconds(100));
      meter.Work(now + milliseconds(row.work));
      now += milliseconds(row.round);
      scheduled += milliseconds(row.scheduled);
      EXPECT_EQ(meter.At(now) - before, round * milliseconds(row.delay));
      EXPECT_EQ(meter.At(now) - before, round * milliseconds(row.delay)) << "nothing has come to it";
    }
  }
}

}  // namespace
}  // namespace norvane::engine
