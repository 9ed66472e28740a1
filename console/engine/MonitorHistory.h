#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace norvane::console::engine {

/// What is asked of a monitor's history.
struct HistoryQuery {
  using Time = std::chrono::system_clock::time_point;

  std::string monitor;  ///< full name
  Time since{};
  Time until = Time::max();  ///< cut to now
  /// Between two points: 5 minutes, an hour, a day or a multiple of these; 0 lets the engine choose so that a
  /// chart has up to 750 points. Made longer if there would be more than `MaxHistoryPoints`, or if spans of
  /// that time have been joined already.
  std::chrono::seconds step{0};
  bool hasPoints = true;  ///< else only what they add up to
};

inline constexpr std::size_t MaxHistoryPoints = 4500;
inline constexpr std::size_t MaxHistoryOutages = 1000;

/// Of good checks, in milliseconds; the percentiles are off by an eighth at most
/// (`engine/history/AnswerSums.h`). All 0 if there was none.
struct AnswerTimes {
  std::uint32_t least = 0, mean = 0, greatest = 0;
  std::uint32_t p50 = 0, p95 = 0, p99 = 0;
  bool operator==(const AnswerTimes&) const = default;
};

/// How long a monitor was in each state. From a check on, a monitor is as that check found it, until the next
/// one begins. Uptime is up / (up + down).
struct StateTimes {
  using Duration = std::chrono::milliseconds;

  Duration up{0};
  Duration down{0};       ///< failing, whether it has come to an outage or not
  Duration stopped{0};    ///< or not made yet, or removed
  Duration silenced{0};   ///< while it ran, whatever its state
  Duration unwatched{0};  ///< the engine did not run, or a first check was still to come

  [[nodiscard]] std::optional<double> Uptime() const {
    if ((up + down).count() == 0) return std::nullopt;
    return static_cast<double>(up.count()) / static_cast<double>((up + down).count());
  }
  StateTimes& operator+=(const StateTimes& other) {
    up += other.up;
    down += other.down;
    stopped += other.stopped;
    silenced += other.silenced;
    unwatched += other.unwatched;
    return *this;
  }
  bool operator==(const StateTimes&) const = default;
};

/// A span of the history. Spans begin at multiples of the step since the epoch, so days are days of UTC.
struct HistoryPoint {
  HistoryQuery::Time start{};
  std::uint64_t checks = 0, failures = 0;
  AnswerTimes answers{};
  StateTimes states{};
  bool operator==(const HistoryPoint&) const = default;
};

/// A time in which checks failed.
struct PastOutage {
  HistoryQuery::Time since{};                 ///< start of the first failed check; may lie before the query
  std::optional<HistoryQuery::Time> until{};  ///< none: it lasts
  std::string reason{};                       ///< of the check that made it an outage, else of the first
  bool isOutage = false;                      ///< else the failures were too few to be one
  bool operator==(const PastOutage&) const = default;
};

struct MonitorHistory {
  HistoryQuery::Time since{}, until{};  ///< as asked, in whole steps
  std::chrono::seconds step{0};
  std::vector<HistoryPoint>
      points;  ///< one for each step, in order; those without checks too; none if none were asked
  std::uint64_t checks = 0, failures = 0;
  AnswerTimes answers{};            ///< of all points
  StateTimes states{};              ///< likewise
  std::vector<PastOutage> outages;  ///< oldest first; the last `MaxHistoryOutages` of them
  std::uint64_t outagesOmitted = 0;
  bool operator==(const MonitorHistory&) const = default;
};

}  // namespace norvane::console::engine
