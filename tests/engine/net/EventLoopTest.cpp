#include "engine/net/EventLoop.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>

#include "platform/EventFd.h"

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;

/// Does what a test wants when its descriptor is ready.
struct Hearer : Watcher, EventOwner {
  std::function<void(int)> hear;
  std::string broke;
  void Ready(int fd, std::uint32_t) override { hear(fd); }
  EventOwner& Owner() override { return *this; }
  void Broke(const std::string& why) override { broke = why; }
};

TEST(EventLoop, TimersComeInOrderAndMayEndEachOther) {
  Moment now{std::chrono::hours(1)};
  EventLoop loop([&] { return now; });
  std::string calls;
  std::unique_ptr<EventLoop::Timer> victim;
  EventLoop::Timer late(loop, loop, [&] { calls += 'l'; });
  EventLoop::Timer again(loop, loop, [&] {
    calls += 'a';
    again.Set(now);  // not in this round
  });
  std::unique_ptr<EventLoop::Timer> killer;
  killer = std::make_unique<EventLoop::Timer>(loop, loop, [&] {
    calls += 'k';
    victim.reset();
    killer.reset();  // itself
  });
  victim = std::make_unique<EventLoop::Timer>(loop, loop, [&] { calls += 'v'; });
  late.Set(now + milliseconds(30));
  victim->Set(now + milliseconds(20));
  killer->Set(now + milliseconds(10));
  again.Set(now + milliseconds(5));
  now += milliseconds(25);
  loop.RunOnce(milliseconds(0));
  EXPECT_EQ(calls, "ak");
  again.Clear();
  now += milliseconds(5);
  loop.RunOnce(milliseconds(0));
  EXPECT_EQ(calls, "akl");
}

TEST(EventLoop, AnEventOfAClosedDescriptorDoesNotReachItsSuccessor) {
  EventLoop loop;
  auto first = std::make_unique<platform::EventFd>();
  auto second = std::make_unique<platform::EventFd>();
  std::unique_ptr<platform::EventFd> successor;
  int heard = 0;
  Hearer other;
  other.hear = [&](int) { FAIL() << "nothing was signalled to it"; };
  Hearer hearer;
  // Whichever comes first closes the other, whose number the kernel then gives out anew.
  hearer.hear = [&](int fd) {
    ++heard;
    auto& victim = fd == first->Fd() ? second : first;
    const int number = victim->Fd();
    victim.reset();
    successor = std::make_unique<platform::EventFd>();
    ASSERT_EQ(successor->Fd(), number);
    ASSERT_TRUE(loop.Watch(number, EPOLLIN, other));
  };
  for (auto* event : {first.get(), second.get()}) {
    ASSERT_TRUE(loop.Watch(event->Fd(), EPOLLIN, hearer));
    event->Signal();
  }
  loop.RunOnce(milliseconds(0));
  EXPECT_EQ(heard, 1);
}

/// A loop whose time only passes when a test or an event says so, and descriptors that are always ready.
struct Turns {
  struct Ready {
    Hearer hearer;
    platform::EventFd event;
  };
  Moment now{std::chrono::hours(1)};
  std::string calls;
  std::map<char, Ready> ready;  // before the loop, which may look at them to its end
  EventLoop loop{[this] { return now; }, &LogToStandardError, [] { return std::chrono::nanoseconds(0); }};

  /// Its calls are noted under `name` and take so long.
  void Add(
      char name, milliseconds cost, std::function<void()> then = [] {}) {
    auto& [hearer, event] = ready[name];
    hearer.hear = [=, this](int) {
      calls += name;
      now += cost;
      then();
    };
    event.Signal();
    EXPECT_TRUE(loop.Watch(event.Fd(), EPOLLIN, hearer));
  }
  std::string Turn() {
    calls.clear();
    loop.RunOnce(milliseconds(0));
    return calls;
  }
};

TEST(EventLoop, ADeadlineFindsServedWhatCameBeforeIt) {
  Turns turns;
  EventLoop::Timer deadline(turns.loop, turns.loop, [&] { turns.calls += 'd'; });
  deadline.Set(turns.now + milliseconds(2));
  turns.Add('a', milliseconds(1), [&] {
    if (!turns.ready.contains('b')) turns.Add('b', milliseconds(3));
  });
  EXPECT_EQ(turns.Turn(), "a");
  EXPECT_EQ(turns.Turn(), "ab") << "the deadline has passed since the round began";
  EXPECT_EQ(turns.Turn(), "abd");
}

TEST(EventLoop, ARoundTakesSeveralTurns) {
  Turns turns;
  EventLoop::Timer due(turns.loop, turns.loop, [&] { turns.calls += 't'; });
  due.Set(turns.now);
  for (const char name : {'a', 'b', 'c'})
    turns.Add(name, milliseconds(3));
  auto calls = turns.Turn();
  EXPECT_EQ(calls.size(), 2u);
  EXPECT_FALSE(turns.loop.IsRoundOver());
  calls += turns.Turn();
  EXPECT_TRUE(turns.loop.IsRoundOver());
  EXPECT_EQ(calls.back(), 't') << "timers wait until all have been served";
  std::sort(calls.begin(), calls.end());
  EXPECT_EQ(calls, "abct");
  EXPECT_EQ(turns.loop.LongestTurn(), milliseconds(6));
}

TEST(EventLoop, ServesCostlyDescriptorsWithWhatTheOthersLeave) {
  Turns turns;
  turns.Add('x', milliseconds(4));
  turns.Add('y', milliseconds(4));
  EXPECT_EQ(turns.Turn().size(), 2u);
  const auto before = turns.now;
  for (const char name : {'a', 'b', 'c'})
    turns.Add(name, milliseconds(2));
  auto calls = turns.Turn();
  EXPECT_EQ(calls.size(), 4u) << "one of the costly ones, though the turn is over: " << calls;
  EXPECT_GE(calls.back(), 'x');
  EXPECT_LT(turns.loop.ServedUpTo(), before) << "the other hasn't been read";
  EXPECT_NE(turns.Turn().back(), calls.back()) << "it comes next";
  EXPECT_GE(turns.loop.ServedUpTo(), before);
  for (const char name : {'b', 'c', 'y'})
    turns.ready.erase(name);
  turns.ready.at('a').event.Clear();
  turns.now += milliseconds(1000);
  EXPECT_EQ(turns.Turn(), "x") << "the last one as a costly descriptor";
  turns.Add('a', milliseconds(6));
  EXPECT_NE(turns.Turn(), "ax") << "it takes its turn among the others again";
}

}  // namespace
}  // namespace norvane::engine
