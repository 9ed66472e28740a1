#pragma once

#include <map>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "engine/model/Worker.h"
#include "platform/EventFd.h"

namespace norvane::tests {

/// A worker that runs nothing: records its calls and reports what the test sets.
class FakeWorker : public engine::Worker {
 public:
  explicit FakeWorker(platform::EventFd& wake) : m_wake(wake) {}
  /// For the constructor of a service; `made` gets the worker that it makes.
  static auto Maker(FakeWorker*& made) {
    return [&made](platform::EventFd& wake, const engine::EventLoop::ErrorLog&) {
      auto checks = std::make_unique<FakeWorker>(wake);
      made = checks.get();
      return checks;
    };
  }

  void Start(engine::CheckTarget target, std::chrono::milliseconds firstAfter) override {
    if (std::exchange(lacksMemory, false)) throw std::bad_alloc();
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
      ReportNotification(request.id, ticket, notifyOutcome);
    }
  }
  void Launch(engine::LaunchRequest request) override {
    calls.push_back("Launch " + request.program);
    launches.push_back(request);
    if (!holdLaunches) Report(engine::LaunchProgress{request.id, request.ticket});
  }
  /// All that were held.
  void HandBackLaunches() override {
    for (const auto& launch : launches)
      Report(engine::LaunchProgress{launch.id, launch.ticket, engine::LaunchProgress::State::HandedBack});
  }
  void Fetch(engine::FetchRequest request, std::uint64_t ticket) override {
    calls.push_back("Fetch " + request.url + " " + std::to_string(request.limit.count()));
    fetches.push_back(ticket);
  }
  /// A stopped page is "what came".
  void StopFetch(std::uint64_t ticket) override {
    calls.emplace_back("StopFetch");
    Report(engine::FetchEnded{ticket, {console::engine::PageReply::End::Complete, "", "what came", ""}});
  }
  std::vector<engine::Report> DequeueReports() override { return std::exchange(m_reports, {}); }

  [[nodiscard]] engine::CheckFigures Figures() const override { return figures; }

  /// `reason` "" or "Ok" is a good end.
  void Report(engine::MonitorId id, std::uint64_t ticket, const std::string& reason) {
    Report(engine::CheckEnded{id, ticket, ResultOf(reason)});
  }
  void ReportNotification(engine::MonitorId id, std::uint64_t ticket, const std::string& reason) {
    Report(engine::NotificationEnded{id, ticket, ResultOf(reason)});
  }
  void Report(engine::Report report) {
    m_reports.push_back(std::move(report));
    m_wake.Signal();
  }
  static engine::CheckResult ResultOf(const std::string& reason) {
    const bool isGood = reason.empty() || reason == "Ok";
    return {isGood ? engine::Outcome::Good : engine::Outcome::Failed, isGood ? "Ok" : reason,
            std::chrono::system_clock::now(), std::chrono::milliseconds(7)};
  }

  std::vector<std::string> calls;
  bool lacksMemory = false;                     ///< at the next `Start`
  std::map<std::string, std::string> outcomes;  ///< of `CheckOnce`, by full name
  bool holdChecks = false;                      ///< keep the tickets in `held` instead of answering
  std::string notifyOutcome = "Ok";             ///< of `NotifyOnce`
  bool holdNotifications = false;
  bool holdLaunches = false;  ///< start none of them
  std::vector<std::pair<engine::MonitorId, std::uint64_t>> held;
  std::vector<engine::NotifyRequest> notifications;
  std::vector<engine::LaunchRequest> launches;
  std::vector<std::uint64_t> fetches;  ///< their tickets
  engine::CheckFigures figures;        ///< as `Figures` gives them

 private:
  platform::EventFd& m_wake;
  std::vector<engine::Report> m_reports;
};

}  // namespace norvane::tests
