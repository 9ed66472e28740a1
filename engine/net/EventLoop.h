#pragma once

#include <sys/epoll.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "engine/net/DelayMeter.h"
#include "engine/net/RecentMaximum.h"
#include "platform/FileDescriptor.h"
#include "platform/ThreadCheck.h"

namespace norvane::engine {

/// The steady time of checks; never the wall clock, which people and daemons set.
using Moment = std::chrono::steady_clock::time_point;

/// What an event belongs to, a check for instance. Called back when handling the event threw.
class EventOwner {
 public:
  virtual ~EventOwner() = default;
  /// `why` is "internal error: " and what the exception said. Ends what the event belonged to, which may
  /// destroy the owner.
  virtual void Broke(const std::string& why) = 0;
};

/// Gets the events of one descriptor. While it handles one it may watch and forget any descriptor, and
/// destroy any watcher.
class Watcher {
 public:
  virtual ~Watcher() = default;
  /// `events` are those of epoll; errors and hang-ups come unasked. What it throws goes to the owner, which
  /// must still exist then.
  virtual void Ready(int fd, std::uint32_t events) = 0;
  [[nodiscard]] virtual EventOwner& Owner() = 0;
};

void LogToStandardError(const std::string& text);

/// One thread's loop over descriptors and timers: level-triggered epoll. Everything is called on that thread,
/// which is the one that made the loop until another adopts it. No exception of an event leaves the loop: it
/// goes to the event's owner, and events of no owner but the loop are logged.
///
/// A round serves all descriptors that are ready, then the timers that were due before it asked for them: a
/// deadline finds everything read that came in time. It takes as many turns as it needs, each of which ends
/// after `MaxTurn`. A descriptor whose events cost much time is served with what the others leave of a turn,
/// one event at least.
class EventLoop : public EventOwner {
 public:
  using Clock = std::function<Moment()>;
  using ErrorLog = std::function<void(const std::string&)>;
  class Timer;

  /// A round that ends within one turn has kept nobody waiting.
  static constexpr std::chrono::milliseconds MaxTurn = DelayMeter::MaxPromptRound;

  /// Throws std::system_error when the kernel has no descriptor left.
  explicit EventLoop(Clock clock = &std::chrono::steady_clock::now, ErrorLog log = &LogToStandardError,
                     DelayMeter::Source delay = &ThreadDelay);
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  void Adopt() { m_thread.Adopt(); }
  [[nodiscard]] bool IsInside() const { return m_thread.IsInside(); }

  [[nodiscard]] Moment Now() const { return m_clock(); }

  /// Begins to watch `fd` for `events`, or changes what is watched. A descriptor that was closed meanwhile
  /// and given out anew by the kernel is taken as the new one. False when the kernel or the memory is
  /// exhausted.
  [[nodiscard]] bool Watch(int fd, std::uint32_t events, Watcher& watcher) noexcept;
  /// Harmless for a descriptor that is not watched or closed already.
  void Forget(int fd) noexcept;
  /// Forgets it and closes it, for a call of the system less.
  void Close(platform::FileDescriptor& fd) noexcept;

  /// A turn: waits until something is ready or the next timer is due, at most `longest`, unless the last
  /// round isn't over.
  void RunOnce(std::chrono::milliseconds longest);
  [[nodiscard]] bool IsRoundOver() const { return !m_isRoundOpen; }
  /// Whatever was ready then has been served.
  [[nodiscard]] Moment ServedUpTo() const { return std::min(m_cheap.servedUpTo, m_costly.servedUpTo); }
  /// The longest turn of the last minute; waiting for a CPU isn't counted.
  [[nodiscard]] std::chrono::microseconds LongestTurn() const { return m_turns.At(Now()); }
  /// How long the thread has been kept from its work so far; the difference of two moments counts.
  [[nodiscard]] std::chrono::nanoseconds OwnDelay() { return m_delay.At(Now()); }
  [[nodiscard]] Moment LastStall() const { return m_delay.LastStall(Now()); }

  /// Calls `event`; what it throws goes to `owner`.
  template <class Event>
  void Serve(EventOwner& owner, Event&& event) noexcept {
    try {
      event();
    } catch (...) {
      Handle(owner, std::current_exception());
    }
  }
  void Broke(const std::string& why) override { m_log(why); }
  void Log(const std::string& text) { m_log(text); }

 private:
  struct Watched {
    Watcher* watcher = nullptr;
    std::uint32_t use = 0;     // distinguishes events of an earlier use of the descriptor's number
    std::uint32_t events = 0;  // watched for
    bool isCostly = false;
    Moment paidOff{};  // when a small share of all time has paid for its events
  };
  /// An epoll and the events that it gave last, which are served over several turns.
  struct Epoll {
    platform::FileDescriptor fd;
    std::vector<epoll_event> events{};  // room for all that may be ready at once
    std::size_t count = 0;
    std::size_t next = 0;
    Moment asked{};
    Moment servedUpTo{};
    [[nodiscard]] bool IsServed() const { return next == count; }
  };
  using Timers = std::set<std::tuple<Moment, std::uint64_t, Timer*>>;

  void Handle(EventOwner& owner, const std::exception_ptr& error) noexcept;
  [[nodiscard]] bool Control(int operation, int fd, const Watched& watched) noexcept;
  void EndTurn();
  void BeginRound(std::chrono::milliseconds longest);
  [[nodiscard]] std::chrono::milliseconds WaitFor(std::chrono::milliseconds longest) const;
  void Ask(Epoll& epoll, std::chrono::milliseconds wait);
  void ServeEvents(Epoll& epoll, Moment now);
  Moment ServeEvent(epoll_event event, Moment now);
  void Rank(std::size_t index, bool isCostly) noexcept;
  void ServeCostly();
  void RunTimers();
  [[nodiscard]] Moment TurnEnd() const { return m_turnBegan + MaxTurn; }

  platform::ThreadCheck m_thread;
  Clock m_clock;
  ErrorLog m_log;
  DelayMeter m_delay;
  Epoll m_cheap;
  Epoll m_costly;  // its descriptor is watched by the other
  bool m_costlyIsReady = false;
  std::vector<Watched> m_watched;  // by descriptor
  std::uint32_t m_lastUse = 0;
  Timers m_timers;
  std::uint64_t m_lastArmed = 0;
  std::uint64_t m_lastArmedBefore = 0;  // the round; later ones wait for the next
  bool m_isRoundOpen = false;
  Moment m_turnBegan;
  std::chrono::nanoseconds m_scheduled{0};  // what the delays came to that the thread had before this turn
  RecentMaximum<std::chrono::microseconds> m_turns;
};

/// Calls back once at a moment. Must not outlive its loop; may be destroyed in its own call. What the call
/// throws goes to the owner, which must still exist then.
class EventLoop::Timer {
 public:
  Timer(EventLoop& loop, EventOwner& owner, std::function<void()> call)
      : m_loop(loop), m_owner(owner), m_call(std::move(call)) {}
  ~Timer() { Clear(); }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  /// Replaces an earlier setting. A moment that has passed is served in the loop's next round. Throws
  /// std::bad_alloc, though never when the timer was set before.
  void Set(Moment when);
  void Clear() noexcept;

 private:
  friend class EventLoop;
  EventLoop& m_loop;
  EventOwner& m_owner;
  std::function<void()> m_call;
  Timers::iterator m_at;
  Timers::node_type m_unset;  // keeps the memory of the entry while the timer is not set
  bool m_isSet = false;
};

}  // namespace norvane::engine
