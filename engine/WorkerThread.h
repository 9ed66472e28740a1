#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "engine/checks/CheckLoop.h"
#include "engine/commands/Launcher.h"
#include "engine/model/Worker.h"
#include "engine/net/LoopQueue.h"
#include "engine/net/ThreadPool.h"
#include "engine/notify/Notifier.h"
#include "engine/web/PageFetcher.h"
#include "engine/web/PageQuota.h"
#include "platform/EventFd.h"
#include "platform/LegacyCharset.h"
#include "platform/ThreadCheck.h"

namespace norvane::engine {

struct WorkerOptions {
  /// The application folder, absolute: "config.ini" and commands lie there.
  std::string folder{};
  /// PEM file of the authorities whose certificates are trusted.
  std::string caFile = "/etc/ssl/certs/ca-certificates.crt";
  /// In which the size of a page is counted.
  platform::LegacyCharset charset{};
  /// Checks in flight at most; 0: as many as the process may have descriptors for, within reason. Further
  /// ones wait.
  std::size_t maxInFlight = 0;
  /// Bytes of pages held at once at most; a check whose page exceeds them fails.
  std::size_t maxPageBytes = std::size_t{256} << 20;
  MonitorTypes types = ProbeTable();
  Resolver::Options resolver{};
  EventLoop::Clock clock = &std::chrono::steady_clock::now;
  EventLoop::ErrorLog log = &LogToStandardError;
  DelayMeter::Source delay = &ThreadDelay;
};

/// The worker thread: one event loop for checks, notifications, commands and fetched pages. Its public
/// functions are the service thread's, and only two queues are shared.
class WorkerThread final : public Worker, private Watcher {
 public:
  /// Signals `reportsWait`, which outlives it, whenever there are reports. Throws std::exception when the
  /// machine gives no descriptors or a library cannot be set up.
  WorkerThread(const WorkerOptions& options, platform::EventFd& reportsWait);
  /// Gives up the checks in flight.
  ~WorkerThread() override;

  void Start(CheckTarget target, std::chrono::milliseconds firstAfter) override;
  void Update(CheckTarget target) override;
  void Stop(MonitorId id) override;
  void CheckOnce(CheckTarget target, std::uint64_t ticket) override;
  void NotifyOnce(NotifyRequest request, std::uint64_t ticket) override;
  void Launch(LaunchRequest request) override;
  void Fetch(FetchRequest request, std::uint64_t ticket) override;
  void StopFetch(std::uint64_t ticket) override;
  [[nodiscard]] CheckFigures Figures() const override;
  [[nodiscard]] std::vector<Report> DequeueReports() override;

 private:
  struct Command {
    std::function<void(WorkerThread&)> run;
    std::optional<Report> failure;  // what is reported if it throws
  };

  // On the service thread.
  void Enqueue(std::function<void(WorkerThread&)> run, std::optional<Report> failure = {});

  // On the worker thread.
  void Run();
  void RunOnce();
  void Ready(int fd, std::uint32_t events) override;
  EventOwner& Owner() override { return m_loop; }
  void Collect(Report report);
  void Deliver();
  void PublishFigures();
  void SetAlarm();

  platform::EventFd& m_reportsWait;

  // The service thread's.
  platform::ThreadCheck m_service;
  std::unordered_map<MonitorId, std::uint64_t> m_starts;  // the last start of each started monitor
  std::uint64_t m_lastStart = 0;

  mutable std::mutex m_mutex;  // guards the queues and the figures
  std::vector<Command> m_commands;
  std::vector<Report> m_reports;
  CheckFigures m_figures;
  platform::EventFd m_commandsWait;
  std::atomic<bool> m_isEnding = false;

  // The worker thread's.
  WorkerOptions m_options;
  EventLoop m_loop;
  EventLoop::Timer m_alarm;  // ends the wait for a scheduled start or for reports to be delivered
  Resolver m_resolver;
  TlsClient m_tls;
  PageQuota m_pageQuota;
  LoopQueue m_calls;
  ThreadPool m_pool{2};
  ProbeContext m_context;
  CheckLoop m_checks;
  Notifier m_notifier;
  Launcher m_launcher;
  PageFetcher m_fetcher;
  std::vector<Report> m_collected;
  Moment m_firstCollected{};

  std::thread m_thread;  // last: it uses all of the above
};

}  // namespace norvane::engine
