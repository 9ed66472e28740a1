#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/model/Attributes.h"
#include "engine/model/CheckResult.h"

namespace norvane::engine {

/// Unique while the engine lives: the table's generation in the upper half, a running number in the lower.
using MonitorId = std::uint64_t;

/// What the checker needs to know of a monitor.
struct CheckTarget {
  MonitorId id = 0;
  std::string name;  ///< full name; its head is the type
  std::shared_ptr<const Attributes> attributes;
};

/// A notification to be sent.
struct NotifyRequest {
  MonitorId id = 0;
  std::string mode;     ///< as it stands in the attribute
  std::string to;       ///< mail address or number
  std::string message;  ///< the mail's subject, or the short message
  std::string body;     ///< of a mail
};

/// A program to be started because of a monitor.
struct LaunchRequest {
  MonitorId id = 0;
  std::string name;                      ///< of the monitor, in full
  std::string program;                   ///< as it stands in the attribute
  std::vector<std::string> environment;  ///< "NAME=value", beside what every program gets
};

/// Something that has ended or that is to be logged.
struct CheckReport {
  enum class Kind {
    Check,
    Notification,  ///< the end of a `NotifyOnce`; `result` tells whether the channel has taken it
    Command,       ///< the start or end of a launched program, in `remark`
    Output,        ///< `remark` is a line that a launched program wrote
  };
  MonitorId id = 0;
  /// The ticket of `CheckOnce` or `NotifyOnce`; 0 for everything else.
  std::uint64_t ticket = 0;
  CheckResult result;
  /// Something to put into a log beside the result ("check outlasted its interval"); may be empty.
  std::string remark;
  Kind kind = Kind::Check;
};

/// Runs checks on a schedule, sends notifications and starts programs: all that waits for others. Called from
/// the service thread; the work happens elsewhere, and the reports wait to be taken. Nothing here blocks or
/// throws.
class CheckRunner {
 public:
  virtual ~CheckRunner() = default;

  /// Checks the target every interval from now on, first after `firstAfter`.
  virtual void Start(CheckTarget target, std::chrono::milliseconds firstAfter) = 0;
  /// New attributes of a started target, from its next check on.
  virtual void Update(CheckTarget target) = 0;
  /// No scheduled report of this monitor is taken after the call.
  virtual void Stop(MonitorId id) = 0;
  /// One check at once, outside the schedule, reported under `ticket` (not 0), whether the monitor runs or
  /// not.
  virtual void CheckOnce(CheckTarget target, std::uint64_t ticket) = 0;
  /// Sends one notification, reported under `ticket` (not 0) once the channel has taken or refused it. All
  /// waiting is bounded.
  virtual void NotifyOnce(NotifyRequest request, std::uint64_t ticket) = 0;
  /// Starts a program; what becomes of it is reported.
  virtual void Launch(LaunchRequest request) = 0;
  /// The reports that came since the last call.
  [[nodiscard]] virtual std::vector<CheckReport> TakeReports() = 0;
};

}  // namespace norvane::engine
