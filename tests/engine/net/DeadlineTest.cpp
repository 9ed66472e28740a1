#include "engine/net/Deadline.h"

#include <gtest/gtest.h>

#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using tests::Rows;

TEST(Deadline, GivesBackWhatTheEngineLostWithinLimits) {
  // The time, how much of each 100 ms the thread waits for a CPU, how long the peer has in all.
  const Rows<const char*, milliseconds, double, milliseconds> rows = {
      {"undisturbed", milliseconds(1000), 0, milliseconds(1000)},
      {"hardly disturbed", milliseconds(1000), 0.01, milliseconds(1000)},
      {"half the time", milliseconds(1000), 0.5, milliseconds(2000)},
      {"for ever", milliseconds(1000), 1, milliseconds(3000)},
  };
  for (const auto& [name, time, share, inAll] : rows) {
    SCOPED_TRACE(name);
    const Moment begin{std::chrono::hours(1)};
    Moment now = begin;
    const auto delay = [&, factor = share] {
      return std::chrono::duration_cast<nanoseconds>((now - begin) * factor);
    };
    EventLoop loop([&] { return now; }, &LogToStandardError, delay);
    bool hasPassed = false;
    Deadline deadline(loop, loop, [&] { hasPassed = true; });
    loop.RunOnce(milliseconds(0));
    deadline.Set(time);
    while (!hasPassed && now < begin + std::chrono::minutes(1)) {
      now += milliseconds(1);
      loop.RunOnce(milliseconds(0));
    }
    EXPECT_NEAR(std::chrono::duration<double>(now - begin).count(),
                std::chrono::duration<double>(inAll).count(), 0.1);
  }
}

}  // namespace
}  // namespace norvane::engine
