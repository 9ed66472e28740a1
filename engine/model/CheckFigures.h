#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace norvane::engine {

/// What became of checks, scheduled and on demand, since the engine started, and how timely they are.
struct CheckFigures {
  std::uint64_t good = 0;
  std::uint64_t failed = 0;
  /// Scheduled starts that were missed, and checks that the engine could not judge.
  std::uint64_t notMade = 0;
  std::uint64_t thrownAway = 0;  ///< failures that may be the engine's own; each check was made anew
  std::chrono::milliseconds latestStart{0};  ///< the latest start of a check in the last minute
  std::chrono::microseconds longestTurn{0};  ///< of an event loop in the last minute
  std::size_t inFlight = 0;
  std::size_t waiting = 0;              ///< due, but held back by the limit on those in flight
  std::uint64_t lookupsAnswered = 0;    ///< by a name server, even if with "no such name"
  std::uint64_t lookupsUnanswered = 0;  ///< by none
  bool hostsUnreadable = false;         ///< the machine's file of names, in its latest state
  bool nameServersUnreadable = false;   ///< likewise
  bool authoritiesUnreadable = false;   ///< none to verify certificates by
  /// When the event loop that turned the longest time ago did so; a second ago at most unless it hangs.
  std::chrono::steady_clock::time_point lastTurn = std::chrono::steady_clock::time_point::max();

  [[nodiscard]] std::uint64_t Made() const { return good + failed; }
  /// Those of several loops as one.
  CheckFigures& operator+=(const CheckFigures& other) {
    good += other.good;
    failed += other.failed;
    notMade += other.notMade;
    thrownAway += other.thrownAway;
    latestStart = std::max(latestStart, other.latestStart);
    longestTurn = std::max(longestTurn, other.longestTurn);
    inFlight += other.inFlight;
    waiting += other.waiting;
    lookupsAnswered += other.lookupsAnswered;
    lookupsUnanswered += other.lookupsUnanswered;
    hostsUnreadable |= other.hostsUnreadable;
    nameServersUnreadable |= other.nameServersUnreadable;
    authoritiesUnreadable |= other.authoritiesUnreadable;
    lastTurn = std::min(lastTurn, other.lastTurn);
    return *this;
  }
};

}  // namespace norvane::engine
