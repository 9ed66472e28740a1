#pragma once

#include <array>
#include <string_view>

#include "console/engine/MonitorKeys.h"

namespace norvane::console::engine {

/// How the engine reads an attribute that holds a number.
struct NumberRule {
  std::string_view key;
  double least, most;  ///< to which the number is clamped
  /// A 0 below `least` means the default, without a remark.
  bool zeroIsDefault = false;
};

// The first two in seconds.
inline constexpr NumberRule IntervalRule{keys::Interval, 0.5, 31 * 86400.0};
inline constexpr NumberRule TimeoutRule{keys::Timeout, 0.1, 3600, true};
inline constexpr NumberRule FailTimesRule{keys::FailTimes, 0, 1e9};
inline constexpr NumberRule MaxFailTimesRule{keys::MaxFailTimes, 0, 1e9};

inline constexpr std::array NumberRules = {IntervalRule, TimeoutRule, FailTimesRule, MaxFailTimesRule};

/// What a new monitor has; empty if nothing.
[[nodiscard]] constexpr std::string_view NewMonitorValue(std::string_view key) {
  for (const auto& [each, value] : NewMonitorValues)
    if (each == key) return value;
  return {};
}

}  // namespace norvane::console::engine
