#pragma once

#include <functional>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "engine/checks/CheckLoop.h"
#include "engine/model/CheckRunner.h"
#include "platform/EventFd.h"

namespace norvane::engine {

/// Runs the checks, and all else that waits for others, on a thread of its own. Only the two queues are
/// shared.
class Checker final : public CheckRunner, private Watcher {
 public:
  /// Signals `reportsWait` whenever there is something to take; it outlives the checker. Throws
  /// std::exception as CheckLoop does.
  Checker(const CheckerOptions& options, platform::EventFd& reportsWait);
  /// Gives up the checks in flight.
  ~Checker() override;

  void Start(CheckTarget target, std::chrono::milliseconds firstAfter) override;
  void Update(CheckTarget target) override;
  void Stop(MonitorId id) override;
  void CheckOnce(CheckTarget target, std::uint64_t ticket) override;
  void NotifyOnce(NotifyRequest request, std::uint64_t ticket) override;
  void Launch(LaunchRequest request) override;
  [[nodiscard]] std::vector<CheckReport> TakeReports() override;

 private:
  using Command = std::function<void(CheckLoop&)>;

  void Send(Command command);
  void Run();
  void Ready(int fd, std::uint32_t events) override;
  void Deliver(std::vector<StampedReport> reports);

  platform::EventFd& m_reportsWait;

  // The service's side: the running number of the last start of each started monitor.
  std::unordered_map<MonitorId, std::uint64_t> m_starts;
  std::uint64_t m_lastStart = 0;

  std::mutex m_mutex;  // guards the queues
  std::vector<Command> m_commands;
  std::vector<StampedReport> m_reports;
  platform::EventFd m_commandsWait;

  // The thread's side.
  CheckLoop m_loop;
  bool m_isEnding = false;
  std::thread m_thread;  // last: it uses all of the above
};

}  // namespace norvane::engine
