#include <algorithm>
#include <utility>

#include "console/engine/EngineError.h"
#include "console/engine/Limits.h"
#include "engine/Service.h"
#include "engine/store/Writer.h"
#include "platform/ErrorText.h"
#include "platform/FileNames.h"

// What consoles ask of the worker, and what its threads report.

namespace norvane::engine {

namespace ce = console::engine;
using ce::EngineError;
using ce::EngineErrorCode;
namespace files = platform::files;

namespace {
constexpr std::uintmax_t MaxCommandsLogSize = 1 << 20;
constexpr std::chrono::milliseconds MaxFetchTime = std::chrono::minutes(1);
constexpr std::size_t MaxFetchesInAll = 8;

// A condition.
constexpr std::string_view CommandsHeldUp = "commands";
constexpr std::chrono::minutes HeldUpTime{10};

/// Counts in `used` while anybody holds it.
std::shared_ptr<void> Occupy(const std::shared_ptr<std::size_t>& used) {
  ++*used;
  return {used.get(), [used](void*) { --*used; }};
}
}  // namespace

// Checks

void Service::Check(MonitorId id, CheckCompletion done) {
  const Monitor& monitor = Get(id);
  m_onDemand.emplace(++m_lastTicket, std::move(done));
  m_worker->CheckOnce(TargetOf(monitor), m_lastTicket);
}

void Service::Notify(MonitorId id, CheckCompletion done) {
  const Monitor& monitor = Get(id);
  m_onDemand.emplace(++m_lastTicket, std::move(done));
  m_worker->NotifyOnce(m_alarms->NotificationOf(monitor), m_lastTicket);
}

std::uint64_t Service::Fetch(std::string url, std::chrono::milliseconds limit, FetchCompletion done) {
  if (url.size() > ce::MaxValueSize) throw EngineError(EngineErrorCode::Invalid, "URL too long");
  if (*m_fetchPlacesUsed >= MaxFetchesInAll)
    throw EngineError(EngineErrorCode::Failed, "too many pages are being fetched");
  m_worker->Fetch({std::move(url), std::min(limit, MaxFetchTime)}, ++m_lastTicket);
  m_fetches.emplace(m_lastTicket, Fetching{std::move(done), Occupy(m_fetchPlacesUsed)});
  return m_lastTicket;
}

void Service::StopFetch(std::uint64_t ticket) {
  if (m_fetches.contains(ticket)) m_worker->StopFetch(ticket);
}

// Reports

/// One that cannot be handled is no reason to lose the others.
void Service::Handle(Report& report) {
  try {
    std::visit([this](auto& each) { Handle(each); }, report);
  } catch (...) {
    const Monitor* monitor = nullptr;
    std::visit(
        [&](const auto& each) {
          if constexpr (requires { each.id; }) monitor = m_table->Find(each.id);
        },
        report);
    const auto why = "internal error: " + platform::ErrorText(std::current_exception());
    m_health.Note("internal error", (monitor != nullptr ? monitor->name + ": " : std::string()) + why);
    std::visit(
        [&](const auto& each) {
          if constexpr (requires { each.result; })
            Answer(each.ticket, {Outcome::Failed, why, each.result.at});
        },
        report);
  }
}

void Service::Handle(const CheckEnded& ended) {
  const auto& result = ended.result;
  if (const Monitor* monitor = m_table->Find(ended.id)) {
    if (!ended.remark.empty()) Log(*monitor, result.at, ended.remark);
    if (result.outcome == Outcome::NotMade)
      Log(*monitor, result.at, "not made: " + result.reason);
    else
      HandleJudged(*monitor, result);
  }
  Answer(ended.ticket, result);
}

/// A result that says something about the service.
void Service::HandleJudged(const Monitor& monitor, const CheckResult& result) {
  const bool isAsBefore =
      monitor.lastCheck.any && (monitor.attributes->Get(ce::keys::Result) == ce::ResultOk) == result.IsGood();
  m_table->Set(monitor.id, ce::keys::Result, result.reason);
  Log(monitor, result.at,
      std::string(result.IsGood() ? "good" : "failed") + " in " + std::to_string(result.duration.count()) +
          " ms: " + result.reason);
  const auto* failing = monitor.Running() ? m_alarms->Receive(monitor, result) : nullptr;
  if (monitor.Running())
    m_history->Checked(monitor, result, isAsBefore, failing != nullptr && failing->isOpen);
  const auto since = failing != nullptr ? failing->since : isAsBefore ? monitor.lastCheck.since : result.at;
  m_table->NoteCheck(monitor.id,
                     {true, result.at, result.duration, failing == nullptr ? 0 : failing->failures, since});
  ExpectCheck(monitor, {});
}

void Service::Handle(const NotificationEnded& ended) {
  if (m_alarms->Receive(ended) || m_heartbeat.Receive(ended)) return;
  const auto& result = ended.result;
  if (const Monitor* monitor = m_table->Find(ended.id))
    Log(*monitor, result.at, result.IsGood() ? "notification sent" : "notification failed: " + result.reason);
  Answer(ended.ticket, result);
}

void Service::DropOwed(const std::vector<std::string>& fullNames) {
  RequireNotEnding();
  m_alarms->Drop(fullNames);
  m_alarms->Keep();
}

void Service::Handle(const CommandEvent& event) {
  const Monitor* monitor = m_table->Find(event.id);
  if (monitor == nullptr) return;
  Log(*monitor, event.at, event.text);
  if (event.isHeldUp) m_health.Note(CommandsHeldUp, monitor->name + ": " + event.text, HeldUpTime);
}

void Service::Handle(const LaunchProgress& progress) {
  m_alarms->Receive(progress);
}

void Service::Handle(const CommandOutput& output) {
  m_writer->Log({std::string(files::CommandsLog), output.at, output.text, MaxCommandsLogSize});
}

void Service::Handle(FetchEnded& ended) {
  const auto waiting = m_fetches.extract(ended.ticket);
  if (!waiting.empty()) waiting.mapped().done(std::move(ended.reply), std::move(waiting.mapped().place));
}

/// Whoever asked for the check or the notification of `ticket`.
void Service::Answer(std::uint64_t ticket, const CheckResult& result) {
  const auto waiting = m_onDemand.extract(ticket);
  if (!waiting.empty()) waiting.mapped()(nullptr, result);
}

void Service::Log(const Monitor& monitor, std::chrono::system_clock::time_point at, const std::string& text) {
  std::string pattern = monitor.attributes->Get(ce::keys::LogFile);
  if (pattern.empty()) pattern = ConfigValue(ce::service::LogFile);
  if (pattern.empty()) pattern = files::MonitorLog;
  m_writer->Log({std::move(pattern), at, monitor.name + ": " + text});
}

void Service::ConditionChanged(std::string_view key, const Health::Condition& condition,
                               Health::Change change) {
  if (change == Health::Change::Recurs)
    m_ownLog.Write(condition.text);
  else
    m_ownLog.WriteAlways((change == Health::Change::Ends ? "resolved: " : "") + condition.text);
  if (key != AdminMessages::Unreachable) m_admin.Add(condition, change);
  if (m_alarms && !m_isEnding) m_alarms->ConditionChanged(key, condition, change);
}

}  // namespace norvane::engine
