#pragma once

#include <chrono>
#include <string>

namespace norvane::engine {

/// The outcome of one check. A monitored service that is down is an outcome, not an error.
struct CheckResult {
  bool good = false;
  /// "Ok", or what failed and why, for the user; never holds a password or a control character.
  std::string reason;
  /// Wall clock for logs: at the start of a check, at the end of a notification.
  std::chrono::system_clock::time_point at;
  std::chrono::milliseconds duration{0};
};

}  // namespace norvane::engine
