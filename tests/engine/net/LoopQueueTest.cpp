#include "engine/net/LoopQueue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;

TEST(LoopQueue, CallsOfAllThreadsComeOnceAndInTheirOrder) {
  std::string logged;
  EventLoop loop(&std::chrono::steady_clock::now, [&](const std::string& text) { logged += text; });
  LoopQueue queue(loop);
  constexpr int Calls = 2000;
  std::vector<int> came(2);
  bool inOrder = true;
  queue.Post([] { throw std::runtime_error("on purpose"); });
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < came.size(); ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < Calls; ++i)
        queue.Post([&, thread, i] { inOrder = inOrder && came[thread]++ == i && loop.IsInside(); });
    });
  const auto end = loop.Now() + std::chrono::seconds(30);
  while (came != std::vector{Calls, Calls} && loop.Now() < end)
    loop.RunOnce(milliseconds(1000));
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(came, (std::vector{Calls, Calls}));
  EXPECT_TRUE(inOrder);
  EXPECT_EQ(logged, "internal error: on purpose");
}

TEST(LoopQueue, ManyCallsDoNotHoldUpTheLoop) {
  Moment now{std::chrono::hours(1)};
  EventLoop loop([&] { return now; });
  LoopQueue queue(loop);
  std::string calls;
  for (int i = 0; i < 3; ++i)
    queue.Post([&] {
      now += milliseconds(1);
      calls += 'c';
    });
  loop.RunOnce(milliseconds(0));
  EXPECT_EQ(calls, "cc");
  loop.RunOnce(milliseconds(0));
  EXPECT_EQ(calls, "ccc");
}

}  // namespace
}  // namespace norvane::engine
