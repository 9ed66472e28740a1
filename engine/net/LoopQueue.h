#pragma once

#include <functional>
#include <list>
#include <mutex>

#include "engine/net/EventLoop.h"
#include "platform/EventFd.h"

namespace norvane::engine {

/// Calls from other threads into one loop: a FIFO with an event that wakes the loop. Made and destroyed where
/// the loop is used; outlives whoever posts.
class LoopQueue final : private Watcher {
 public:
  using Call = std::function<void()>;
  using Calls = std::list<Call>;

  /// Throws std::exception when the kernel has no descriptor left.
  explicit LoopQueue(EventLoop& loop);
  ~LoopQueue() override;
  LoopQueue(const LoopQueue&) = delete;
  LoopQueue& operator=(const LoopQueue&) = delete;

  /// From any thread. What the call throws is logged by the loop.
  void Post(Call call);
  /// The same for calls that have their memory already, which `calls` gives up.
  void Post(Calls& calls) noexcept;

 private:
  void Ready(int fd, std::uint32_t events) override;
  EventOwner& Owner() override { return m_loop; }

  EventLoop& m_loop;
  platform::EventFd m_event;
  std::mutex m_mutex;  // guards the next one
  Calls m_posted;
  Calls m_dequeued;  // the loop's
};

}  // namespace norvane::engine
