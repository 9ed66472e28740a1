#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/checks/ProbeType.h"
#include "engine/checks/Schedule.h"
#include "engine/commands/Launcher.h"
#include "engine/model/CheckRunner.h"
#include "engine/net/EventLoop.h"
#include "engine/net/Resolver.h"
#include "engine/notify/Notifier.h"
#include "platform/LegacyCharset.h"

namespace norvane::engine {

/// How checks are made.
struct CheckerOptions {
  /// The application folder, absolute: "config.ini" and commands lie there.
  std::string folder{};
  /// PEM file of the authorities whose certificates are trusted.
  std::string caFile = "/etc/ssl/certs/ca-certificates.crt";
  /// In which the size of a page is counted.
  platform::LegacyCharset charset{};
  /// Checks in flight at most; 0: as many as the process may have descriptors for, within reason. Further
  /// ones wait, and their time runs.
  std::size_t maxInFlight = 0;
  /// Bytes of pages held at once at most; a check whose page finds no room fails.
  std::size_t maxPageBytes = std::size_t{256} << 20;
  MonitorTypes types = ProbeTable();
  Resolver::Options resolver{};
  EventLoop::Clock clock = &std::chrono::steady_clock::now;
};

/// A report and the start that it belongs to.
struct StampedReport {
  CheckReport report;
  std::uint64_t start = 0;
};

/// All that the checker's thread does: takes checks from the schedule, runs their probes under their
/// time-outs, sends notifications, starts commands, and gathers what they report. One thread.
class CheckLoop {
 public:
  using Deliver = std::function<void(std::vector<StampedReport>)>;

  /// Throws std::exception when the machine gives no descriptors or a library cannot be set up.
  CheckLoop(const CheckerOptions& options, Deliver deliver);
  ~CheckLoop();
  CheckLoop(const CheckLoop&) = delete;
  CheckLoop& operator=(const CheckLoop&) = delete;

  [[nodiscard]] EventLoop& Events() { return m_loop; }

  /// As in CheckRunner. `start` tells this start of the monitor from earlier ones.
  void Start(CheckTarget target, std::chrono::milliseconds firstAfter, std::uint64_t start);
  void Update(CheckTarget target);
  void Stop(MonitorId id);
  void CheckOnce(CheckTarget target, std::uint64_t ticket);
  void NotifyOnce(NotifyRequest request, std::uint64_t ticket);
  void Launch(LaunchRequest request);

  /// Serves what is ready, and waits for it if nothing is.
  void RunOnce();

 private:
  class Check;
  using Checks = std::list<std::unique_ptr<Check>>;
  struct Watched {
    CheckTarget target;
    std::uint64_t start = 0;
    std::chrono::milliseconds timeout{};
    std::string remark;      // on the attributes as they are
    bool remarked = false;   // reported already
    Check* check = nullptr;  // in flight
  };

  /// Gives the interval.
  std::chrono::milliseconds TakeAttributes(Watched& watched, CheckTarget target);
  void TakeDue();
  void Enqueue(std::unique_ptr<Check> check);
  [[nodiscard]] bool MayBegin() const {
    return !m_waiting.empty() && m_inFlight.size() < m_options.maxInFlight;
  }
  void BeginWaiting();
  void End(Check& check, std::string failure);
  void Drop(Check& check);
  void Report(StampedReport report);
  void HandOver();
  void SetAlarm();
  [[nodiscard]] ProbeType* TypeOf(std::string_view fullName) const;

  CheckerOptions m_options;
  Deliver m_deliver;
  EventLoop m_loop;
  EventLoop::Timer m_alarm;  // ends the wait for a scheduled start or for reports to go over
  Resolver m_resolver;
  TlsClient m_tls;
  ProbeContext m_context;
  std::map<std::string_view, std::unique_ptr<ProbeType>> m_types;
  Schedule m_schedule;
  std::unordered_map<MonitorId, Watched> m_watched;
  Checks m_waiting;
  Checks m_inFlight;
  Notifier m_notifier;
  Launcher m_launcher;
  std::vector<StampedReport> m_reports;
  Moment m_firstReport{};  // when the first of them came
};

}  // namespace norvane::engine
