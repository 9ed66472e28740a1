#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include "engine/history/StateTimeline.h"

/// What the parts of `HistoryFile` have in common.
namespace norvane::engine::historytables {

enum Level : std::int64_t { HourInMinutes, DayInHours, WholeDay };

constexpr std::int64_t AllMonitors = 0;  ///< in `change`
constexpr std::int64_t PartSize = 256;   ///< monitors in a row of `fresh`
constexpr std::int64_t SpanSeconds = 300, HourSeconds = 3600, DaySeconds = 86400;
constexpr std::int64_t SpansOfHour = 12, HoursOfDay = 24;
/// Of a change: that of a silence comes beside the state (`StateChange::Kind`).
constexpr std::string_view IsState = "kind NOT IN(5,6)";

constexpr std::int64_t PartOf(std::int64_t id) {
  return id / PartSize;
}

inline std::int64_t ToMilliseconds(StateChange::Time time) {
  return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}
inline StateChange::Time FromMilliseconds(std::int64_t milliseconds) {
  return StateChange::Time(std::chrono::milliseconds(milliseconds));
}
inline std::int64_t ToSeconds(StateChange::Time time) {
  return std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()).count();
}
inline StateChange::Time FromSeconds(std::int64_t seconds) {
  return StateChange::Time(std::chrono::seconds(seconds));
}

}  // namespace norvane::engine::historytables
