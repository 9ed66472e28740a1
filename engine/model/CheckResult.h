#pragma once

#include <chrono>
#include <string>

namespace norvane::engine {

/// How a check ended. Only `Failed` says something bad about the service; `NotMade` means that the engine
/// itself could not judge it.
enum class Outcome { Good, Failed, NotMade };

/// The outcome of one check. A monitored service that is down is an outcome, not an error.
struct CheckResult {
  Outcome outcome = Outcome::Failed;
  /// "Ok", or what failed and why, for the user; never holds a password or a control character.
  std::string reason;
  /// Wall clock for logs: at the start of a check, at the end of a notification.
  std::chrono::system_clock::time_point at;
  std::chrono::milliseconds duration{0};

  [[nodiscard]] bool IsGood() const { return outcome == Outcome::Good; }
};

/// Of what could not even begin; the log has more.
[[nodiscard]] inline CheckResult InternalFailure() {
  return {Outcome::Failed, "internal error", std::chrono::system_clock::now()};
}

}  // namespace norvane::engine
