#include "engine/net/EventLoop.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <new>
#include <system_error>
#include <utility>

#include "platform/ErrorText.h"

namespace norvane::engine {

using std::chrono::milliseconds;

namespace {
[[noreturn]] void Fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}
}  // namespace

void LogToStandardError(const std::string& text) {
  std::fprintf(stderr, "norvane-engine: %s\n", text.c_str());
}

EventLoop::EventLoop(Clock clock, ErrorLog log)
    : m_clock(std::move(clock)),
      m_log(std::move(log)),
      m_epoll(::epoll_create1(EPOLL_CLOEXEC)),
      m_turnBegan(Now()) {
  if (!m_epoll) Fail("epoll_create1");
}

void EventLoop::Handle(EventOwner& owner, const std::exception_ptr& error) noexcept {
  try {
    owner.Broke("internal error: " + platform::ErrorText(error));
  } catch (...) {
    std::fputs("norvane-engine: an internal error could not be handled\n", stderr);
  }
}

bool EventLoop::Watch(int fd, std::uint32_t events, Watcher& watcher) noexcept {
  assert(IsInside());
  const auto index = static_cast<std::size_t>(fd);
  try {
    if (index >= m_watched.size()) m_watched.resize(index + 1);
  } catch (const std::bad_alloc&) {
    return false;
  }
  auto& watched = m_watched[index];
  const auto control = [&](int operation) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = std::uint64_t{watched.turn} << 32 | index;
    return ::epoll_ctl(m_epoll.Get(), operation, fd, &event) == 0;
  };
  const bool known = std::exchange(watched.watcher, &watcher) != nullptr;
  if (known && control(EPOLL_CTL_MOD)) return true;
  // Not known, or closed behind our back, which took it out of the epoll.
  watched.turn = ++m_lastTurn;
  if (control(EPOLL_CTL_ADD)) return true;
  watched.watcher = nullptr;
  return false;
}

void EventLoop::Forget(int fd) noexcept {
  const auto index = static_cast<std::size_t>(fd);
  if (index >= m_watched.size() || m_watched[index].watcher == nullptr) return;
  m_watched[index].watcher = nullptr;
  // Fails only when the descriptor is closed already, which has taken it out of the epoll.
  ::epoll_ctl(m_epoll.Get(), EPOLL_CTL_DEL, fd, nullptr);
}

void EventLoop::Close(platform::FileDescriptor& fd) noexcept {
  const auto index = static_cast<std::size_t>(fd.Get());
  if (fd && index < m_watched.size()) m_watched[index].watcher = nullptr;
  fd.Reset();  // which takes it out of the epoll
}

int EventLoop::WaitFor(milliseconds longest) const {
  if (m_timers.empty()) return static_cast<int>(longest.count());
  const auto left = std::chrono::ceil<milliseconds>(std::get<Moment>(*m_timers.begin()) - Now());
  return static_cast<int>(std::clamp(left, milliseconds{0}, longest).count());
}

void EventLoop::RunOnce(milliseconds longest) {
  assert(IsInside());
  const auto now = Now();
  m_turns.Note(now, std::chrono::duration_cast<std::chrono::microseconds>(now - m_turnBegan));
  std::array<epoll_event, 256> events;
  const int count = ::epoll_wait(m_epoll.Get(), events.data(), events.size(), WaitFor(longest));
  m_turnBegan = Now();
  if (count < 0 && errno != EINTR) Fail("epoll_wait");
  for (int i = 0; i < count; ++i) {
    const auto& event = events[static_cast<std::size_t>(i)];
    const auto fd = static_cast<std::uint32_t>(event.data.u64);
    const auto watched = m_watched[fd];
    if (watched.watcher != nullptr && watched.turn == event.data.u64 >> 32)
      Serve(watched.watcher->Owner(), [&] { watched.watcher->Ready(static_cast<int>(fd), event.events); });
  }
  RunTimers();
}

void EventLoop::RunTimers() {
  if (m_timers.empty()) return;
  // What a timer's call sets for now waits for the next round, so that descriptors are not starved.
  const auto last = m_lastArmed;
  const auto now = Now();
  while (!m_timers.empty()) {
    const auto [when, armed, timer] = *m_timers.begin();
    if (when > now || armed > last) return;
    timer->Clear();
    const auto call = timer->m_call;  // lives on when the call destroys its timer
    Serve(timer->m_owner, call);
  }
}

void EventLoop::Timer::Set(Moment when) {
  assert(m_loop.IsInside());
  if (m_isSet && std::get<Moment>(*m_at) == when) return;
  Clear();
  const auto armed = ++m_loop.m_lastArmed;
  if (m_unset.empty()) {
    m_at = m_loop.m_timers.emplace(when, armed, this).first;
  } else {
    m_unset.value() = {when, armed, this};
    m_at = m_loop.m_timers.insert(std::move(m_unset)).position;
  }
  m_isSet = true;
}

void EventLoop::Timer::Clear() noexcept {
  if (!m_isSet) return;
  m_unset = m_loop.m_timers.extract(m_at);
  m_isSet = false;
}

}  // namespace norvane::engine
