#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engine/WorkerThreads.h"
#include "platform/EventFd.h"

namespace norvane::bench {

/// The engine's checker and a receiver of its reports, in this process, so that the cost of both is measured.
class CheckerRun {
 public:
  /// All checks are of this target; the type is in its name.
  CheckerRun(std::string name, const engine::Attributes& attributes,
             const engine::WorkerOptions& options = {});

  /// So many at a time that the batches of reports don't hold them up. Gives how many were good.
  int OnDemand(int checks);
  /// So many monitors with an interval of a second, for some seconds. Gives how many checks were good.
  int Scheduled(int perSecond, int seconds);

 private:
  [[nodiscard]] engine::CheckTarget Target(engine::MonitorId id) const;

  std::string m_name;
  std::shared_ptr<const engine::Attributes> m_attributes;
  platform::EventFd m_event;
  engine::WorkerThreads m_checker;
};

/// The next reports of a checker, once there are some.
[[nodiscard]] std::vector<engine::CheckEnded> AwaitReports(engine::WorkerThreads& checker,
                                                           platform::EventFd& event);

}  // namespace norvane::bench
