#include "engine/notify/Heartbeat.h"

#include <gtest/gtest.h>

#include "engine/net/EventLoop.h"
#include "tests/support/FakeWorker.h"

namespace norvane::engine {
namespace {

using std::chrono::seconds;
using Texts = std::vector<std::string>;

TEST(Heartbeat, GoesWhileAllIsWellAndLogsOnceWhenNot) {
  Health::Moment now{std::chrono::hours(1)};
  Texts log;
  Health health([&] { return now; },
                [&](auto, const auto& condition, auto change) {
                  log.push_back((change == Health::Change::Ends ? "resolved: " : "") + condition.text);
                });
  platform::EventFd wake;
  tests::FakeWorker worker(wake);
  std::uint64_t lastTicket = 0;
  Heartbeat heartbeat("http://x/beat", seconds(30),
                      {worker, [&] { return ++lastTicket; }, health, [&] { return now; }});
  std::string problem;
  const auto beats = [&](int time) {
    worker.notifications.clear();
    for (int i = 0; i < time; ++i) {
      now += seconds(1);
      heartbeat.OnSecond([&] { return problem; });
      for (const auto& report : worker.DequeueReports())
        EXPECT_TRUE(heartbeat.Receive(std::get<NotificationEnded>(report)));
    }
    return worker.notifications.size();
  };
  EXPECT_EQ(beats(29), 0u);
  EXPECT_EQ(beats(300), 10u);
  problem = "stalled";
  EXPECT_EQ(beats(8), 0u);
  problem.clear();
  EXPECT_EQ(beats(1), 1u);
  EXPECT_EQ(log, Texts{});  // it was late, no more
  problem = "stalled";
  EXPECT_EQ(beats(300), 0u);
  EXPECT_EQ(log, Texts{"heartbeat withheld: stalled"});
  problem.clear();
  worker.notifyOutcome = "HTTP status 503";
  EXPECT_EQ(beats(100), 4u);
  worker.notifyOutcome = "Ok";
  EXPECT_EQ(beats(30), 1u);
  EXPECT_EQ(log, (Texts{"heartbeat withheld: stalled", "resolved: heartbeat failed: HTTP status 503"}));
}

}  // namespace
}  // namespace norvane::engine
