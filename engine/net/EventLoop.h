#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <tuple>
#include <vector>

#include "platform/FileDescriptor.h"

namespace norvane::engine {

/// The steady time of checks; never the wall clock, which people and daemons set.
using Moment = std::chrono::steady_clock::time_point;

/// Hears of one descriptor. May watch and forget any descriptor, and destroy any watcher, while it hears.
class Watcher {
 public:
  virtual ~Watcher() = default;
  /// `events` are those of epoll; errors and hang-ups come unasked.
  virtual void Ready(int fd, std::uint32_t events) = 0;
};

/// One thread's loop over descriptors and timers: level-triggered epoll. Everything is called on that thread.
class EventLoop {
 public:
  using Clock = std::function<Moment()>;
  class Timer;

  /// Throws std::system_error when the kernel has no descriptor left.
  explicit EventLoop(Clock clock = &std::chrono::steady_clock::now);
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  [[nodiscard]] Moment Now() const { return m_clock(); }

  /// Begins to watch `fd` for `events`, or changes what is watched. A descriptor that was closed meanwhile
  /// and given out anew by the kernel is taken as the new one. False when the kernel has no room to watch it.
  [[nodiscard]] bool Watch(int fd, std::uint32_t events, Watcher& watcher) noexcept;
  /// Harmless for a descriptor that is not watched or closed already.
  void Forget(int fd) noexcept;
  /// Forgets it and closes it, for a call of the system less.
  void Close(platform::FileDescriptor& fd) noexcept;

  /// Waits until something is ready or the next timer is due, at most `longest`, and serves it.
  void RunOnce(std::chrono::milliseconds longest);

 private:
  struct Watched {
    Watcher* watcher = nullptr;
    std::uint32_t turn = 0;  // tells an event of an earlier use of the descriptor's number
  };
  using Due = std::tuple<Moment, std::uint64_t, Timer*>;

  [[nodiscard]] int WaitFor(std::chrono::milliseconds longest) const;
  void RunTimers();

  Clock m_clock;
  platform::FileDescriptor m_epoll;
  std::vector<Watched> m_watched;  // by descriptor
  std::uint32_t m_lastTurn = 0;
  std::set<Due> m_timers;
  std::uint64_t m_lastArmed = 0;
};

/// Calls back once at a moment. Must not outlive its loop; may be destroyed in its own call.
class EventLoop::Timer {
 public:
  Timer(EventLoop& loop, std::function<void()> call) : m_loop(loop), m_call(std::move(call)) {}
  ~Timer() { Clear(); }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  /// Replaces an earlier setting. A moment that has passed is served in the loop's next round.
  void Set(Moment when);
  void Clear() noexcept;

 private:
  friend class EventLoop;
  EventLoop& m_loop;
  std::function<void()> m_call;
  Moment m_when;
  std::uint64_t m_armed = 0;  // 0: not set
};

}  // namespace norvane::engine
