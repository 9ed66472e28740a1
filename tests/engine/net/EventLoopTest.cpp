#include "engine/net/EventLoop.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>

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

}  // namespace
}  // namespace norvane::engine
