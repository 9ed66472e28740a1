#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "engine/ActionThread.h"
#include "engine/CheckThread.h"
#include "engine/LoadBalance.h"
#include "engine/model/Worker.h"
#include "platform/ThreadCheck.h"

namespace norvane::engine {

/// The worker: threads for checks, each with a loop of its own, and one for notifications, commands and
/// fetched pages. A monitor stays with its thread as long as the loads are even. The public functions are the
/// service thread's.
class WorkerThreads final : public Worker {
 public:
  /// Signals `reportsWait`, which outlives it, whenever there are reports. Throws std::exception when the
  /// machine gives no descriptors or a library cannot be set up.
  WorkerThreads(const WorkerOptions& options, platform::EventFd& reportsWait);
  /// Gives up the checks in flight.
  ~WorkerThreads() override;

  void Start(CheckTarget target, std::chrono::milliseconds firstAfter) override;
  void Update(CheckTarget target) override;
  void Stop(MonitorId id) override;
  void CheckOnce(CheckTarget target, std::uint64_t ticket) override;
  [[nodiscard]] CheckFigures Figures() const override;
  void NotifyOnce(NotifyRequest request, std::uint64_t ticket) override;
  void Launch(LaunchRequest request) override;
  void HandBackLaunches() override;
  void Fetch(FetchRequest request, std::uint64_t ticket) override;
  void StopFetch(std::uint64_t ticket) override;
  [[nodiscard]] std::vector<Report> DequeueReports() override;
  void OnSecond() override;
  /// For what begins from now on.
  void SetMailServers(const MailServerTable& servers);

 private:
  struct Started {
    CheckTarget target;
    std::uint64_t start;       // distinguishes this start of the monitor from former ones
    std::size_t thread;        // that checks it
    std::size_t next{thread};  // that is to check it, once the other has released it
  };

  void StartOn(const Started& monitor, CheckStart start) noexcept;
  void Receive(const ReleasedMonitor& released);
  void Even();

  platform::ThreadCheck m_service;
  LoopsShared m_shared;
  std::vector<std::unique_ptr<CheckThread>> m_checks;
  ActionThread m_actions;
  LoadBalance m_balance;
  std::unordered_map<MonitorId, Started> m_started;
  std::uint64_t m_lastStart = 0;
  bool m_hasLostStart = false;  // a start that never came to its loop
};

}  // namespace norvane::engine
