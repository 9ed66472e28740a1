#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <variant>

#include "console/engine/PageFetch.h"
#include "engine/model/CheckResult.h"
#include "engine/model/Requests.h"
#include "engine/model/SendFailure.h"

namespace norvane::engine {

struct CheckEnded {
  MonitorId id = 0;
  std::uint64_t ticket = 0;  ///< of `CheckOnce`; 0 for a scheduled check
  CheckResult result;
  /// For the log, beside the result ("the check took longer than its interval"); may be empty.
  std::string remark{};
  std::uint64_t start = 0;  ///< of a scheduled check: which start of its monitor it belongs to
};

/// A channel has accepted a notification or failed to deliver it.
struct NotificationEnded {
  MonitorId id = 0;
  std::uint64_t ticket = 0;
  CheckResult result;
  std::chrono::seconds retryAfter{0};  ///< the peer wants no further try for so long
  SendFailure failure{};                ///< if it is one
};

/// A command was started, has ended or could not be started.
struct CommandEvent {
  MonitorId id = 0;
  std::chrono::system_clock::time_point at;
  std::string text;       ///< for the log of the monitor
  bool isHeldUp = false;  ///< by the commands of other monitors
};

/// How far a command has come.
struct LaunchProgress {
  enum class State {
    Started,
    Over,        ///< it has ended, or could not be started
    HandedBack,  ///< it was never started, and won't be
  };
  MonitorId id = 0;
  std::uint64_t ticket = 0;  ///< of its request
  State state = State::Over;
};

/// A line that a command wrote.
struct CommandOutput {
  MonitorId id = 0;
  std::chrono::system_clock::time_point at;
  std::string text;  ///< headed by the monitor's name
};

struct FetchEnded {
  std::uint64_t ticket = 0;
  console::engine::PageReply reply;
};

using Report =
    std::variant<CheckEnded, NotificationEnded, CommandEvent, LaunchProgress, CommandOutput, FetchEnded>;

}  // namespace norvane::engine
