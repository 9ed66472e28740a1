#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

#include "engine/model/Requests.h"
#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// When each monitor is to be checked. Knows no thread and no clock: moments are handed in.
///
/// Starts are planned an interval apart from each other, whatever delays the real ones, so that nothing
/// drifts. A check never overlaps itself, and starts that were missed are not made up for.
class Schedule {
 public:
  using Interval = std::chrono::milliseconds;

  /// Checks that fall due this close together start as one batch, when the last of them is due: waking for
  /// each would cost more than the check.
  static constexpr Interval BatchWindow{40};
  /// Waiting for more of them would save nothing.
  static constexpr int MaxBatch = 16;

  /// `id` must not be in the schedule.
  void Add(MonitorId id, Moment first, Interval interval);
  void Remove(MonitorId id);
  /// Counts from the last planned start, but nothing gets late by it; a monitor that was not yet started
  /// keeps its first moment.
  void SetInterval(MonitorId id, Interval interval, Moment now);

  struct Lateness {
    Interval late;        ///< since the check was due
    std::int64_t missed;  ///< planned starts that passed meanwhile
  };

  /// A monitor whose check is due, the longest overdue first; it isn't given again before its check ends.
  [[nodiscard]] std::optional<MonitorId> DequeueDue(Moment now);
  /// The check really begins.
  Lateness Begin(MonitorId id, Moment now);
  /// The check has ended, and the service's part in it at `answered`. True if that outlasted the interval;
  /// the next is then due at once. Starts that passed later are missed.
  bool End(MonitorId id, Moment answered);
  /// The next check, if it would start later, starts at `at`, and intervals count from there.
  void Hasten(MonitorId id, Moment at);

  /// When a monitor is due whose check neither waits nor runs.
  [[nodiscard]] Moment Next(MonitorId id) const { return m_entries.at(id).due; }
  /// When the next batch is to start.
  [[nodiscard]] std::optional<Moment> NextStart() const;

 private:
  using Due = std::set<std::pair<Moment, MonitorId>>;
  struct Entry {
    Interval interval;
    Moment due;                       // the next planned start
    Moment planned{};                 // the last planned start
    std::optional<Moment> started{};  // when the last one really started
    Due::node_type running{};         // the entry of `m_due` while the check waits or runs
  };

  void Plan(MonitorId id, Entry& entry, Moment due) noexcept;

  std::unordered_map<MonitorId, Entry> m_entries;
  Due m_due;  // those whose check neither waits nor runs
};

}  // namespace norvane::engine
