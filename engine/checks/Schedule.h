#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

#include "engine/model/CheckRunner.h"
#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// When each monitor is to be checked. Knows no thread and no clock: moments are handed in.
///
/// Starts are planned an interval apart from each other, whatever delays the real ones, so that nothing
/// drifts. A check never overlaps itself, and starts that were missed are not made up for.
class Schedule {
 public:
  using Interval = std::chrono::milliseconds;

  /// Checks that are due this close together start together, when the last of them is due: waking for each
  /// would cost more than the check.
  static constexpr Interval CompanyWithin{40};
  /// So many are company enough; waiting for more would save nothing.
  static constexpr int Company = 16;

  /// `id` must not stand in the schedule.
  void Add(MonitorId id, Moment first, Interval interval);
  void Remove(MonitorId id);
  /// Counts from the last planned start; a monitor that was not yet started keeps its first moment.
  void SetInterval(MonitorId id, Interval interval);

  /// A monitor whose check is to start, the longest overdue first; it counts as running from here on.
  [[nodiscard]] std::optional<MonitorId> TakeDue(Moment now);
  /// The check has ended. True if it outlasted its interval; the next is then due at once.
  bool End(MonitorId id, Moment now);

  /// When those that are due next are to be taken.
  [[nodiscard]] std::optional<Moment> NextStart() const;

 private:
  struct Entry {
    Interval interval;
    Moment due;                       // the next planned start
    Moment planned{};                 // the last planned start
    std::optional<Moment> started{};  // when the last one really started
    bool running = false;
  };

  void Plan(MonitorId id, Entry& entry, Moment due);

  std::unordered_map<MonitorId, Entry> m_entries;
  std::set<std::pair<Moment, MonitorId>> m_due;  // those that are not running
};

}  // namespace norvane::engine
