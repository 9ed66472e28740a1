#pragma once

#include <chrono>
#include <ctime>
#include <string>

namespace norvane::platform {

using WallTime = std::chrono::system_clock::time_point;

[[nodiscard]] std::tm LocalTime(WallTime at);

/// As `strftime` formats it, 63 bytes at most.
[[nodiscard]] std::string FormatTime(const char* format, const std::tm& local);

/// ISO 8601, local time with milliseconds and zone: 2031-05-01T12:34:56.789+02:00
[[nodiscard]] std::string TimeText(WallTime at);
/// The same when the local time of `at` is known already.
[[nodiscard]] std::string TimeText(WallTime at, const std::tm& local);

}  // namespace norvane::platform
