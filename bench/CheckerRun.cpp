#include "bench/CheckerRun.h"

#include <poll.h>

#include <algorithm>
#include <utility>

#include "bench/Pace.h"
#include "console/engine/MonitorKeys.h"

namespace norvane::bench {

namespace keys = console::engine::keys;

namespace {
std::shared_ptr<const engine::Attributes> EverySecond(engine::Attributes attributes) {
  attributes.Set(keys::Interval, "1");
  return std::make_shared<const engine::Attributes>(std::move(attributes));
}
}  // namespace

CheckerRun::CheckerRun(std::string name, const engine::Attributes& attributes,
                       const engine::WorkerOptions& options)
    : m_name(std::move(name)), m_attributes(EverySecond(attributes)), m_checker(options, m_event) {}

engine::CheckTarget CheckerRun::Target(engine::MonitorId id) const {
  return {id, m_name, m_attributes};
}

int CheckerRun::OnDemand(int checks) {
  int begun = 0;
  int good = 0;
  const auto begin = [&] {
    const auto ticket = static_cast<std::uint64_t>(++begun);
    m_checker.CheckOnce(Target(ticket), ticket);  // of another monitor each, which uses all threads
  };
  while (begun < std::min(checks, InFlight * 4))
    begin();
  for (int ended = 0; ended < checks;)
    for (const auto& report : AwaitReports(m_checker, m_event)) {
      good += report.result.IsGood();
      ++ended;
      if (begun < checks) begin();
    }
  return good;
}

int CheckerRun::Scheduled(int perSecond, int seconds) {
  for (int i = 0; i < perSecond; ++i)
    m_checker.Start(Target(static_cast<engine::MonitorId>(i)),
                    std::chrono::milliseconds(1000L * i / perSecond));
  const int checks = perSecond * seconds;
  int good = 0;
  int ended = 0;
  while (ended < checks)
    for (const auto& report : AwaitReports(m_checker, m_event))
      if (ended++ < checks) good += report.result.IsGood();
  for (int i = 0; i < perSecond; ++i)
    m_checker.Stop(static_cast<engine::MonitorId>(i));
  return good;
}

std::vector<engine::CheckEnded> AwaitReports(engine::WorkerThreads& checker, platform::EventFd& event) {
  pollfd fd{event.Fd(), POLLIN, 0};
  ::poll(&fd, 1, -1);
  event.Clear();
  std::vector<engine::CheckEnded> ended;
  for (auto& report : checker.DequeueReports())
    ended.push_back(std::get<engine::CheckEnded>(std::move(report)));
  return ended;
}

}  // namespace norvane::bench
