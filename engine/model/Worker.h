#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "engine/model/CheckFigures.h"
#include "engine/model/Reports.h"
#include "engine/model/Requests.h"

namespace norvane::engine {

/// Runs checks, on a schedule and on demand.
class CheckRunner {
 public:
  virtual ~CheckRunner() = default;

  /// Checks the target every interval from now on, first after `firstAfter`. If it throws, the target was not
  /// started.
  virtual void Start(CheckTarget target, std::chrono::milliseconds firstAfter) = 0;
  /// New attributes of a target, from its next check on. Starts one that is not started.
  virtual void Update(CheckTarget target) = 0;
  /// No scheduled report of this monitor is dequeued after the call.
  virtual void Stop(MonitorId id) = 0;
  /// One check at once, outside the schedule, reported under `ticket` (not 0), whether the monitor runs or
  /// not.
  virtual void CheckOnce(CheckTarget target, std::uint64_t ticket) = 0;

  /// As of a moment ago.
  [[nodiscard]] virtual CheckFigures Figures() const = 0;
};

/// Does what an outage asks for.
class ActionRunner {
 public:
  virtual ~ActionRunner() = default;

  /// Sends one notification, reported under `ticket` (not 0) once the channel has accepted or refused it. All
  /// waiting is bounded.
  virtual void NotifyOnce(NotifyRequest request, std::uint64_t ticket) = 0;
  /// Starts a program; what becomes of it is reported.
  virtual void Launch(LaunchRequest request) = 0;
  /// Those that still wait to be started never are; each is reported.
  virtual void HandBackLaunches() = 0;
};

/// Fetches pages for people to look at.
class FetchRunner {
 public:
  virtual ~FetchRunner() = default;

  /// Reported under `ticket`.
  virtual void Fetch(FetchRequest request, std::uint64_t ticket) = 0;
  /// Ends it at once: what has come of the page is reported. Harmless if it has ended.
  virtual void StopFetch(std::uint64_t ticket) = 0;
};

/// All that waits for others. Called from the service thread, which it never blocks; the work is done
/// elsewhere, and its reports wait in a queue.
class Worker : public CheckRunner, public ActionRunner, public FetchRunner {
 public:
  /// The reports that came since the last call, oldest first.
  [[nodiscard]] virtual std::vector<Report> DequeueReports() = 0;
  /// To be called about once a second. Makes up for calls that failed for want of memory.
  virtual void OnSecond() {}
};

}  // namespace norvane::engine
