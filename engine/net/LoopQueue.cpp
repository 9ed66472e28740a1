#include "engine/net/LoopQueue.h"

#include <sys/epoll.h>

#include <chrono>
#include <stdexcept>
#include <utility>

namespace norvane::engine {

namespace {
/// Calls are made so long in one go; the rest waits until the loop has looked at its descriptors again.
constexpr std::chrono::milliseconds MaxTurn{2};
}  // namespace

LoopQueue::LoopQueue(EventLoop& loop) : m_loop(loop) {
  if (!m_loop.Watch(m_event.Fd(), EPOLLIN, *this)) throw std::runtime_error("cannot watch a queue");
}

LoopQueue::~LoopQueue() {
  m_loop.Forget(m_event.Fd());
}

void LoopQueue::Post(Call call) {
  Calls calls;
  calls.push_back(std::move(call));
  Post(calls);
}

void LoopQueue::Post(Calls& calls) noexcept {
  bool isFirst;
  {
    const std::lock_guard lock(m_mutex);
    isFirst = m_posted.empty();
    m_posted.splice(m_posted.end(), calls);
  }
  if (isFirst) m_event.Signal();  // else whoever posted the first one has woken the loop, or is about to
}

void LoopQueue::Ready(int, std::uint32_t) {
  const auto end = m_loop.Now() + MaxTurn;
  {
    const std::lock_guard lock(m_mutex);
    m_dequeued.splice(m_dequeued.end(), m_posted);
  }
  while (!m_dequeued.empty()) {
    const auto call = std::move(m_dequeued.front());
    m_dequeued.pop_front();
    m_loop.Serve(m_loop, call);
    if (m_loop.Now() >= end) break;
  }
  // Else the event stays, and the loop comes back.
  const std::lock_guard lock(m_mutex);
  if (m_dequeued.empty() && m_posted.empty()) m_event.Clear();
}

}  // namespace norvane::engine
