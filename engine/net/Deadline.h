#pragma once

#include <chrono>
#include <functional>

#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// The end of the time that a peer is given. What the loop's thread was kept from its work meanwhile is given
/// besides, at most twice as much, and what came in time is read first. Must not outlive its loop.
class Deadline {
 public:
  /// `pass` is called once for each `Set`; what it throws goes to `owner`.
  Deadline(EventLoop& loop, EventOwner& owner, std::function<void()> pass);

  void Set(std::chrono::milliseconds time);
  void Clear() { m_timer.Clear(); }

  /// The thread once lost at least the whole time at a stretch.
  [[nodiscard]] bool HasLostAll() const { return m_hasLostAll; }
  /// It passed though the thread had lost more than was given back.
  [[nodiscard]] bool IsExhausted() const { return m_isExhausted; }

 private:
  void Look();

  EventLoop& m_loop;
  std::function<void()> m_pass;
  std::chrono::milliseconds m_time{};
  std::chrono::nanoseconds m_delayBefore{0};  // of the thread, for which time was given back
  std::chrono::nanoseconds m_given{0};        // besides the time
  bool m_hasLostAll = false;
  bool m_isExhausted = false;
  Moment m_until{};
  EventLoop::Timer m_timer;
};

}  // namespace norvane::engine
