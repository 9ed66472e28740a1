#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/model/CheckRunner.h"
#include "platform/EventFd.h"

namespace norvane::tests {

/// A check runner that runs nothing: records what it is told and reports what the test says.
class ScriptedChecks : public engine::CheckRunner {
 public:
  explicit ScriptedChecks(platform::EventFd& wake) : m_wake(wake) {}
  /// As a service takes it; `made` gets what was made.
  static auto Maker(ScriptedChecks*& made) {
    return [&made](platform::EventFd& wake) {
      auto checks = std::make_unique<ScriptedChecks>(wake);
      made = checks.get();
      return checks;
    };
  }

  void Start(engine::CheckTarget target, std::chrono::milliseconds firstAfter) override {
    calls.push_back("Start " + target.name + " " + std::to_string(firstAfter.count()));
  }
  void Update(engine::CheckTarget target) override { calls.push_back("Update " + target.name); }
  void Stop(engine::MonitorId) override { calls.emplace_back("Stop"); }
  void CheckOnce(engine::CheckTarget target, std::uint64_t ticket) override {
    calls.push_back("CheckOnce " + target.name);
    if (holdChecks) {
      held.emplace_back(target.id, ticket);
    } else {
      Report(target.id, ticket, outcomes[target.name]);
    }
  }
  void NotifyOnce(engine::NotifyRequest request, std::uint64_t ticket) override {
    calls.push_back("NotifyOnce " + request.mode + " " + request.to);
    notifications.push_back(request);
    if (holdNotifications) {
      held.emplace_back(request.id, ticket);
    } else {
      Report(request.id, ticket, notifyOutcome, engine::CheckReport::Kind::Notification);
    }
  }
  void Launch(engine::LaunchRequest request) override {
    calls.push_back("Launch " + request.program);
    launches.push_back(std::move(request));
  }
  std::vector<engine::CheckReport> TakeReports() override { return std::exchange(m_reports, {}); }

  /// `reason` "" or "Ok" is a good end.
  void Report(engine::MonitorId id, std::uint64_t ticket, const std::string& reason,
              engine::CheckReport::Kind kind = engine::CheckReport::Kind::Check) {
    engine::CheckReport report{id, ticket, {}, {}, kind};
    report.result.good = reason.empty() || reason == "Ok";
    report.result.reason = report.result.good ? "Ok" : reason;
    report.result.at = std::chrono::system_clock::now();
    report.result.duration = std::chrono::milliseconds(7);
    Report(std::move(report));
  }
  void Report(engine::CheckReport report) {
    m_reports.push_back(std::move(report));
    m_wake.Signal();
  }

  std::vector<std::string> calls;
  std::map<std::string, std::string> outcomes;  ///< of `CheckOnce`, by full name
  bool holdChecks = false;                      ///< keep the tickets in `held` instead of answering
  std::string notifyOutcome = "Ok";             ///< of `NotifyOnce`
  bool holdNotifications = false;
  std::vector<std::pair<engine::MonitorId, std::uint64_t>> held;
  std::vector<engine::NotifyRequest> notifications;
  std::vector<engine::LaunchRequest> launches;

 private:
  platform::EventFd& m_wake;
  std::vector<engine::CheckReport> m_reports;
};

}  // namespace norvane::tests
