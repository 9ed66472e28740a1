#include "engine/net/ThreadPool.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <latch>
#include <string>
#include <thread>

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;

struct Pool {
  /// Until so many jobs have reported their end.
  void Await(std::size_t jobs) {
    const auto end = loop.Now() + std::chrono::seconds(30);
    while (done.size() < jobs && loop.Now() < end)
      loop.RunOnce(milliseconds(1000));
    ASSERT_EQ(done.size(), jobs);
  }
  void Run(
      std::size_t size, char name, std::function<void()> work = [] {}) {
    pool.Run(size, std::move(work), queue, [this, name] { done += name; });
  }

  explicit Pool(std::size_t threads) : pool(threads) {}
  EventLoop loop;
  LoopQueue queue{loop};
  std::string done;
  ThreadPool pool;
};

TEST(ThreadPool, SmallWorkComesFirst) {
  Pool pool(1);
  std::latch isRunning{1}, mayEnd{1};
  pool.Run(0, 'a', [&] {
    isRunning.count_down();
    mayEnd.wait();
  });
  isRunning.wait();
  pool.Run(300, 'f');
  pool.Run(100, 'b');
  pool.Run(200, 'd');
  pool.Run(100, 'c');
  pool.Run(200, 'e');
  mayEnd.count_down();
  pool.Await(6);
  EXPECT_EQ(pool.done, "abcdef");
}

TEST(ThreadPool, EachJobFindsAThreadAsLongAsThereAreSome) {
  Pool pool(2);
  for (std::size_t round = 1; round <= 100; ++round) {
    std::latch both{2};  // a job that got no thread of its own would keep the other waiting for ever
    for (const char name : {'a', 'b'})
      pool.Run(1, name, [&] { both.arrive_and_wait(); });
    pool.Await(2 * round);
  }
}

TEST(ThreadPool, YieldsToTheLoops) {
  const struct {
    const char* name;
    int own, expected;
  } rows[] = {{"of usual priority", 0, 10}, {"of a lower one already", 15, 15}};
  for (const auto& [name, own, expected] : rows) {
    SCOPED_TRACE(name);
    std::thread([&, own = own, expected = expected] {
      ::setpriority(PRIO_PROCESS, 0, own);  // of this thread
      Pool pool(1);
      int found = 0;
      pool.Run(1, 'a', [&] { found = ::getpriority(PRIO_PROCESS, 0); });
      pool.Await(1);
      EXPECT_EQ(found, expected);
    }).join();
  }
}

}  // namespace
}  // namespace norvane::engine
