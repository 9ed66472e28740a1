#pragma once

#include <atomic>
#include <functional>
#include <latch>
#include <mutex>
#include <optional>
#include <thread>

#include "engine/ReportQueue.h"
#include "engine/WorkerOptions.h"
#include "engine/model/CheckFigures.h"
#include "engine/net/LoopQueue.h"
#include "engine/net/PageQuota.h"
#include "engine/net/Probe.h"
#include "engine/net/ThreadPool.h"

namespace norvane::engine {

/// What all loops share.
struct LoopsShared {
  LoopsShared(const WorkerOptions& workerOptions, platform::EventFd& reportsWait)
      : options(workerOptions), pageQuota(options.maxPageBytes), reports(reportsWait) {
    options.resolver.hosts = &hosts;
  }

  WorkerOptions options;
  HostsFile hosts;
  PageQuota pageQuota;
  ThreadPool pool{2};
  ReportQueue reports;
};

/// A thread with an event loop and what the probes in it share. A class derived from it says what lives in
/// the loop, calls `Begin` when it is complete, and `End` before it is destroyed.
class LoopThread {
 public:
  virtual ~LoopThread() = default;
  LoopThread(const LoopThread&) = delete;
  LoopThread& operator=(const LoopThread&) = delete;

  /// Waits until the thread has ended. Harmless if it has.
  void End();
  /// From any thread.
  [[nodiscard]] CheckFigures Figures() const;
  /// For what begins from now on.
  void SetMailServers(const MailServerTable& servers) {
    Post([this, servers] { m_mailServers = servers; }, {});
  }
  /// Whether a call without a report of its failure has thrown since the last time. From any thread.
  [[nodiscard]] bool HasLostCall() { return m_hasLostCall.exchange(false); }

 protected:
  /// `shared` outlives it. Throws std::exception when the machine gives no descriptors or a library cannot be
  /// set up.
  explicit LoopThread(LoopsShared& shared);
  void Begin();

  /// Calls `run` in the loop, and reports `failure`, if there is one, when it throws.
  void Post(std::function<void()> run, std::optional<Report> failure);

  // In the loop.
  [[nodiscard]] ProbeContext& Context() { return m_context; }
  void Collect(Report report);
  void Collect(const ReleasedMonitor& monitor);
  /// What is to be done after the events of each turn, at `NextTurn` at the latest.
  virtual void Turn() {}
  [[nodiscard]] virtual std::optional<Moment> NextTurn() const { return std::nullopt; }
  /// More reports are to be expected soon, so that those at hand may wait a little.
  [[nodiscard]] virtual bool IsBusy() const { return false; }
  [[nodiscard]] virtual CheckFigures CountFigures() const { return {}; }

 private:
  void Run(std::latch& hasBegun);
  void RunOnce();
  void SetAlarm();
  void Deliver();
  void PublishFigures();

  LoopsShared& m_shared;
  EventLoop m_loop;
  EventLoop::Timer m_alarm;  // ends the wait for the next turn or for reports to be delivered
  Resolver m_resolver;
  TlsClient m_tls;
  MailServerTable m_mailServers;
  LoopQueue m_calls;
  ProbeContext m_context;
  ReportQueue::Contents m_collected;
  Moment m_firstCollected{};

  mutable std::mutex m_mutex;  // guards the figures
  CheckFigures m_figures;
  std::atomic<bool> m_isEnding = false;
  std::atomic<bool> m_hasLostCall = false;
  std::thread m_thread;
};

}  // namespace norvane::engine
