#include "engine/net/EventLoop.h"

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
/// Tells of the epoll of the costly ones; the number of no descriptor.
constexpr std::uint64_t CostlyOnes = ~std::uint64_t{0};
/// A descriptor whose events took longer together is costly, until they are paid off: a fiftieth of the time
/// that passes counts for each. A good check by HTTPS costs half of it.
constexpr milliseconds MaxCheapCost{3};
constexpr int PayOffFactor = 50;
}  // namespace

void LogToStandardError(const std::string& text) {
  std::fprintf(stderr, "norvane-engine: %s\n", text.c_str());
}

EventLoop::EventLoop(Clock clock, ErrorLog log, DelayMeter::Source delay)
    : m_clock(std::move(clock)),
      m_log(std::move(log)),
      m_delay(std::move(delay)),
      m_cheap{platform::FileDescriptor(::epoll_create1(EPOLL_CLOEXEC)), std::vector<epoll_event>(1)},
      m_costly{platform::FileDescriptor(::epoll_create1(EPOLL_CLOEXEC)), std::vector<epoll_event>(1)},
      m_turnBegan(Now()) {
  if (!m_cheap.fd || !m_costly.fd) Fail("epoll_create1");
  m_delay.Work(m_turnBegan);
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = CostlyOnes;
  if (::epoll_ctl(m_cheap.fd.Get(), EPOLL_CTL_ADD, m_costly.fd.Get(), &event) != 0) Fail("epoll_ctl");
}

void EventLoop::Handle(EventOwner& owner, const std::exception_ptr& error) noexcept {
  try {
    owner.Broke("internal error: " + platform::ErrorText(error));
  } catch (...) {
    std::fputs("norvane-engine: an internal error could not be handled\n", stderr);
  }
}

bool EventLoop::Control(int operation, int fd, const Watched& watched) noexcept {
  epoll_event event{};
  event.events = watched.events;
  event.data.u64 = std::uint64_t{watched.use} << 32 | static_cast<std::uint32_t>(fd);
  return ::epoll_ctl((watched.isCostly ? m_costly : m_cheap).fd.Get(), operation, fd, &event) == 0;
}

bool EventLoop::Watch(int fd, std::uint32_t events, Watcher& watcher) noexcept {
  assert(IsInside());
  const auto index = static_cast<std::size_t>(fd);
  try {
    if (index >= m_watched.size()) m_watched.resize(index + 1);
    for (auto* epoll : {&m_cheap, &m_costly})
      if (epoll->events.size() < index + 2) epoll->events.resize(2 * index + 2);
  } catch (const std::bad_alloc&) {
    return false;
  }
  auto& watched = m_watched[index];
  const bool known = std::exchange(watched.watcher, &watcher) != nullptr;
  watched.events = events;
  if (known && Control(EPOLL_CTL_MOD, fd, watched)) return true;
  // Not known, or closed behind our back, which took it out of the epoll.
  watched = {&watcher, ++m_lastUse, events};
  if (Control(EPOLL_CTL_ADD, fd, watched)) return true;
  watched.watcher = nullptr;
  return false;
}

void EventLoop::Forget(int fd) noexcept {
  const auto index = static_cast<std::size_t>(fd);
  if (index >= m_watched.size() || m_watched[index].watcher == nullptr) return;
  m_watched[index].watcher = nullptr;
  // Fails only when the descriptor is closed already, which has taken it out of the epoll.
  static_cast<void>(Control(EPOLL_CTL_DEL, fd, m_watched[index]));
}

void EventLoop::Close(platform::FileDescriptor& fd) noexcept {
  const auto index = static_cast<std::size_t>(fd.Get());
  if (fd && index < m_watched.size()) m_watched[index].watcher = nullptr;
  fd.Reset();  // which takes it out of the epoll
}

void EventLoop::RunOnce(milliseconds longest) {
  assert(IsInside());
  EndTurn();
  if (!m_isRoundOpen) BeginRound(longest);
  ServeEvents(m_cheap, m_turnBegan);
  if (m_cheap.IsServed()) {
    if (m_costly.IsServed() && !m_costlyIsReady) m_costly.servedUpTo = m_cheap.servedUpTo;
    RunTimers();
  }
  ServeCostly();
}

void EventLoop::EndTurn() {
  const auto now = Now();
  auto length = now - std::exchange(m_turnBegan, now);
  if (length > MaxTurn || m_delay.IsDue(now)) m_delay.Sample(now);
  const auto scheduled = m_delay.Scheduled();
  const auto waited = scheduled - std::exchange(m_scheduled, scheduled);
  if (length > MaxTurn) length = std::max(length - waited, Moment::duration::zero());
  m_turns.Note(now, std::chrono::duration_cast<std::chrono::microseconds>(length));
}

void EventLoop::BeginRound(milliseconds longest) {
  m_delay.Rest(m_turnBegan);
  const auto wait = WaitFor(longest);
  const auto wake = m_turnBegan + wait;
  m_lastArmedBefore = m_lastArmed;
  Ask(m_cheap, wait);
  m_isRoundOpen = true;
  m_turnBegan = Now();
  m_delay.Work(std::min(wake, m_turnBegan));
  // Nothing was ready just now, unless the thread was held up on its way back.
  if (m_cheap.count == 0 && m_turnBegan <= wake + MaxTurn) m_cheap.asked = m_turnBegan;
}

milliseconds EventLoop::WaitFor(milliseconds longest) const {
  if (!m_costly.IsServed()) return milliseconds{0};
  if (m_timers.empty()) return longest;
  const auto left = std::chrono::ceil<milliseconds>(std::get<Moment>(*m_timers.begin()) - m_turnBegan);
  return std::clamp(left, milliseconds{0}, longest);
}

void EventLoop::Ask(Epoll& epoll, milliseconds wait) {
  epoll.asked = Now();
  const int count = ::epoll_wait(epoll.fd.Get(), epoll.events.data(), static_cast<int>(epoll.events.size()),
                                 static_cast<int>(wait.count()));
  if (count < 0 && errno != EINTR) Fail("epoll_wait");
  epoll.count = static_cast<std::size_t>(std::max(count, 0));
  epoll.next = 0;
}

void EventLoop::ServeEvents(Epoll& epoll, Moment now) {
  while (!epoll.IsServed()) {
    now = ServeEvent(epoll.events[epoll.next++], now);
    if (now >= TurnEnd()) break;
  }
  if (epoll.IsServed()) epoll.servedUpTo = epoll.asked;
}

/// Gives the moment of its end.
Moment EventLoop::ServeEvent(epoll_event event, Moment now) {
  if (event.data.u64 == CostlyOnes) {
    m_costlyIsReady = true;
    return now;
  }
  const auto index = static_cast<std::uint32_t>(event.data.u64);
  const auto use = static_cast<std::uint32_t>(event.data.u64 >> 32);
  const auto isCurrent = [&] { return m_watched[index].watcher != nullptr && m_watched[index].use == use; };
  if (!isCurrent()) return now;
  const bool wasPaidOff = m_watched[index].paidOff <= now;
  auto& watcher = *m_watched[index].watcher;
  Serve(watcher.Owner(), [&] { watcher.Ready(static_cast<int>(index), event.events); });
  const auto end = Now();
  if (!isCurrent()) return end;
  auto& watched = m_watched[index];
  watched.paidOff = std::max(watched.paidOff, now) + PayOffFactor * (end - now);
  Rank(index, watched.isCostly ? !wasPaidOff : watched.paidOff - end > PayOffFactor * MaxCheapCost);
  return end;
}

void EventLoop::Rank(std::size_t index, bool isCostly) noexcept {
  auto& watched = m_watched[index];
  if (watched.isCostly == isCostly) return;
  const auto fd = static_cast<int>(index);
  auto ranked = watched;
  ranked.isCostly = isCostly;
  if (!Control(EPOLL_CTL_ADD, fd, ranked)) return;  // the kernel has no memory; another event may find some
  static_cast<void>(Control(EPOLL_CTL_DEL, fd, watched));
  watched = ranked;
}

void EventLoop::ServeCostly() {
  if (m_costly.IsServed()) {
    if (!std::exchange(m_costlyIsReady, false)) return;
    Ask(m_costly, milliseconds{0});
  }
  ServeEvents(m_costly, Now());
}

void EventLoop::RunTimers() {
  m_isRoundOpen = false;
  while (!m_timers.empty()) {
    const auto [when, armed, timer] = *m_timers.begin();
    // What this round has set for now waits for the next, so that descriptors are not starved.
    if (when > m_cheap.servedUpTo || armed > m_lastArmedBefore) return;
    timer->Clear();
    const auto call = timer->m_call;  // lives on when the call destroys its timer
    Serve(timer->m_owner, call);
    if (Now() < TurnEnd()) continue;
    m_isRoundOpen = true;
    return;
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
