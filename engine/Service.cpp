#include "engine/Service.h"

#include <algorithm>
#include <cassert>
#include <new>
#include <utility>

#include "console/engine/EngineError.h"
#include "engine/Overdue.h"
#include "engine/model/CheckTimes.h"
#include "engine/model/FullName.h"
#include "engine/net/Reason.h"
#include "engine/store/EngineState.h"
#include "engine/store/Writer.h"
#include "platform/MemoryReserve.h"
#include "platform/RandomText.h"

namespace norvane::engine {

namespace ce = console::engine;
using ce::EngineError;
using ce::EngineErrorCode;

namespace {
constexpr std::chrono::milliseconds MaxSpread = std::chrono::minutes(10);
constexpr std::chrono::hours MaxSilence{10 * 365 * 24};
constexpr std::chrono::minutes TendPause{1};  // of the files

// What the end waits for: then commands that wait are left to the next engine, and then it goes on.
constexpr std::chrono::seconds MaxStartTime{4};
constexpr std::chrono::seconds MaxEndTime{5};

// Conditions.
constexpr std::string_view BadLogFiles = "log files";
constexpr std::chrono::minutes OverdueTime{1};  // until it is a condition
}  // namespace

Service::Service(Options options)
    : m_types(options.types),
      m_folder(std::move(options.folder)),
      m_instance(platform::RandomText(8)),
      m_clock(std::move(options.clock)),
      m_wallClock(options.settings.alarms.wallClock),
      m_writer(std::make_unique<Writer>(m_folder, m_wake)),
      m_ownLog(*m_writer, m_clock),
      m_admin(
          options.settings.admin, m_folder,
          [this](std::string identity, OwedMessage message) {
            m_alarms->Owe(std::move(identity), std::move(message));
          },
          m_clock),
      m_health(m_clock, [this](auto key, const auto& condition,
                               auto change) { ConditionChanged(key, condition, change); }),
      m_selfCheck(m_health, m_clock),
      m_state(std::make_unique<EngineState>(m_folder, *m_writer, m_health)),
      m_storage(*this, *m_writer, m_health, m_clock, m_folder, m_types),
      m_table(m_storage.LoadAtStart()),
      m_history(std::make_unique<History>(
          History::Options{m_folder, options.history, options.settings.alarms.wallClock}, m_wake, m_health,
          [this]() -> const MonitorTable& { return *m_table; })),
      m_worker(options.makeWorker(m_wake, [this](const std::string& text) { m_ownLog.Write(text); })),
      m_heartbeat(options.settings.heartbeat, options.settings.heartbeatPeriod,
                  {*m_worker, [this] { return ++m_lastTicket; }, m_health, m_clock}),
      m_logAge(options.settings.logAge) {
  m_health.Set(AdminMessages::Unreachable, m_admin.Misconfigured());
  SetConfigProblem(options.configProblem);
  m_alarms = std::make_unique<Alarms>(
      options.settings.alarms,
      Alarms::Parts{*m_worker, *m_state, m_health, m_ownLog, m_admin, [this] { return ++m_lastTicket; },
                    [this]() -> const MonitorTable& { return *m_table; },
                    [this](const auto& monitor, auto at, const auto& text) { Log(monitor, at, text); },
                    m_clock});
  for (const auto& [key, condition] : m_health.Now())
    m_alarms->ConditionChanged(key, condition, Health::Change::Begins);
  m_alarms->Restore(m_storage.IsUnreadable());
  m_alarms->Keep();
  StartAll();
}

Service::~Service() {
  m_worker.reset();
  m_history.reset();
  m_ownLog.FlushAll();
  m_writer.reset();  // its jobs use the rest
}

void Service::Configure(const Settings& settings) {
  assert(m_thread.IsInside());
  if (m_admin.Configure(settings.admin)) m_health.Set(AdminMessages::Unreachable, m_admin.Misconfigured());
  m_alarms->Configure(settings.alarms);
  m_alarms->Keep();
  m_heartbeat.Configure(settings.heartbeat, settings.heartbeatPeriod);
  m_logAge = settings.logAge;
}

void Service::SetConfigProblem(const std::string& problem) {
  m_health.Set("config.ini", problem);
}

int Service::WakeFd() const {
  return m_wake.Fd();
}

void Service::OnWake() {
  assert(m_thread.IsInside());
  m_wake.Clear();
  ++m_wakes;
  for (const auto& [logFile, text] : m_writer->Deliver())
    logFile.empty() ? m_health.Note("writer", text) : HandleLogFile(logFile, text);
  m_history->Deliver();
  const auto changeBefore = m_table->LastChange();
  std::exception_ptr lost;
  for (auto& report : m_worker->DequeueReports())
    try {
      Handle(report);
    } catch (...) {  // there is no memory to tell of what it threw
      lost = std::current_exception();
    }
  m_alarms->Keep();
  GoOnEnding();
  if (m_table->LastChange() != changeBefore) NotifyObservers();
  if (lost) std::rethrow_exception(lost);
}

/// All log files together are one condition: each monitor may name one.
void Service::HandleLogFile(const std::string& pattern, const std::string& problem) {
  if (problem.empty())
    m_badLogFiles.erase(pattern);
  else
    m_badLogFiles[pattern] = problem;
  if (m_badLogFiles.empty()) return m_health.Set(BadLogFiles, {});
  if (!problem.empty() && m_badLogFiles.size() > 1) m_ownLog.Write(problem, std::string(BadLogFiles));
  const auto more = m_badLogFiles.size() - 1;
  m_health.Set(BadLogFiles,
               m_badLogFiles.begin()->second + (more == 0 ? "" : " (and " + std::to_string(more) + " more)"));
}

void Service::OnSecond() {
  assert(m_thread.IsInside());
  m_ownLog.Flush();
  m_health.EndExpired();
  m_selfCheck.Observe(Observe());
  m_health.Set("memory", platform::RestoreMemoryReserve() ? "" : "memory is short");
  m_health.Set("overdue", OverdueProblem(*m_table, m_clock() - OverdueTime));
  m_worker->OnSecond();
  RepeatLostStarts();
  m_admin.OweDue();
  m_alarms->OnSecond();
  m_history->OnSecond();
  m_heartbeat.OnSecond([this] { return WhyNoHeartbeat(); });
  GoOnEnding();
  if (const auto now = m_clock(); now >= m_nextTend) {
    m_nextTend = now + TendPause;
    m_writer->TendLogs(m_logAge);
    if (!m_isEnding) m_storage.Retry();
  }
}

SelfCheck::Observation Service::Observe() const {
  return {m_worker->Figures(), m_writer->BusyFor(), m_wakes};
}

std::string Service::WhyNoHeartbeat() const {
  auto why = m_selfCheck.FindTrouble(Observe());
  return why.empty() ? OverdueProblem(*m_table, m_clock()) : why;
}

ce::EngineStatus Service::Status() const {
  const auto observation = Observe();
  const auto& figures = observation.figures;
  const auto stall = m_selfCheck.FindStall(observation);
  ce::EngineStatus status{figures.Made(),
                          figures.failed,
                          figures.notMade,
                          figures.thrownAway,
                          figures.latestStart,
                          figures.longestTurn,
                          figures.inFlight,
                          figures.waiting,
                          std::string(stall.what),
                          stall.lasting,
                          {},
                          {},
                          m_table->Count()};
  for (const auto& [key, condition] : m_health.Now())
    status.conditions.push_back({condition.text, condition.since});
  const auto now = m_clock();
  for (const auto& [id, monitor] : m_table->All()) {
    if (!monitor.Running()) continue;
    ++status.running;
    if (ce::IsFailure(monitor.attributes->Get(ce::keys::Result))) ++status.failing;
    if (monitor.overdueAt <= now) status.overdue.push_back({monitor.name, monitor.lastCheck.at});
  }
  return status;
}

void Service::AddObserver(TableObserver& observer) {
  m_observers.push_back(&observer);
}

void Service::RemoveObserver(TableObserver& observer) {
  std::erase(m_observers, &observer);
}

void Service::NotifyObservers() {
  for (auto* observer : m_observers)
    observer->TableChanged();
}

CheckTarget Service::TargetOf(const Monitor& monitor) {
  return {monitor.id, monitor.name, monitor.attributes};
}

const Monitor& Service::Get(MonitorId id) const {
  assert(m_thread.IsInside());
  const Monitor* monitor = m_table->Find(id);
  if (monitor == nullptr) throw EngineError(EngineErrorCode::NotFound, "no such monitor");
  return *monitor;
}

// Service-wide values

std::string Service::ConfigValue(std::string_view key) const {
  return m_state->Value(key);
}

void Service::CommitConfig(const std::map<std::string, std::string>& values, Completion done) {
  m_state->Commit(values, std::move(done));
}

bool Service::IsControlPass(std::string_view text) const {
  return m_state->IsControlPass(text);
}

// Monitors

/// What comes after the last save has begun would be lost.
void Service::RequireNotEnding() const {
  if (m_isEnding) throw EngineError(EngineErrorCode::Refused, "the engine is ending");
}

MonitorId Service::Add(std::string_view fullName) {
  assert(m_thread.IsInside());
  RequireNotEnding();
  RequireText(fullName, "monitor name");
  const auto& added = m_table->Add(fullName, NewMonitorAttributes());
  const auto id = added.id;
  m_history->Made(added);
  NotifyObservers();
  return id;
}

void Service::Remove(MonitorId id) {
  RequireNotEnding();
  KeepForgotten(Forget(Get(id)));
  NotifyObservers();
}

/// Gives whether it was failing.
bool Service::Forget(const Monitor& monitor) {
  m_worker->Stop(monitor.id);
  const bool wasFailing = m_alarms->Forget(monitor, "the monitor was removed");
  m_alarms->ForgetSilence(monitor);
  m_history->Removed(monitor);
  m_table->Remove(monitor.id);
  return wasFailing;
}

/// A monitor that an engine finds without its outage, having been killed now, would begin another one.
void Service::KeepForgotten(bool wasFailing) {
  if (wasFailing) m_storage.KeepChanges(Storage::Pace::AtOnce);
  m_alarms->Keep();
}

void Service::Set(MonitorId id, std::string_view key, std::string value) {
  RequireNotEnding();
  if (Get(id).attributes->Get(key) == value) return;  // a data file may hold what is refused below
  RequireAttribute(key, value);
  if (key == ce::keys::Parent) RequireNoCircle(*m_table, Get(id), value);
  const auto before = Get(id).attributes;
  m_table->Set(id, key, std::move(value));
  std::vector<const Monitor*> toStart;
  KeepForgotten(FollowSettings(Get(id), before.get(), toStart));
  StartSpread(toStart);
  NotifyObservers();
}

/// After a change from `before`, null for a new monitor. Gives whether an outage was forgotten.
bool Service::FollowSettings(const Monitor& monitor, const Attributes* before,
                             std::vector<const Monitor*>& toStart) {
  const bool ran = before != nullptr && IsEnabled(*before);
  if (!ran) {
    if (!monitor.Running()) return false;
    m_table->NoteCheck(monitor.id, {});
    m_history->Switched(monitor);
    toStart.push_back(&monitor);
    return false;
  }
  if (!monitor.Running()) {
    m_worker->Stop(monitor.id);
    m_history->Switched(monitor);
    return m_alarms->Forget(monitor, "the monitor was stopped");
  }
  if (monitor.settingChange != monitor.change) return false;  // a result
  const auto isNew = [&](std::string_view key) { return before->Get(key) != monitor.attributes->Get(key); };
  if (isNew(ce::keys::Interval)) ExpectCheck(monitor, {});
  if (isNew(ce::keys::NotifyMode) || isNew(ce::keys::NotifyPager)) m_alarms->AddressChanged(monitor.id);
  m_worker->Update(TargetOf(monitor));
  return false;
}

void Service::Init(MonitorId id) {
  const auto defaults = NewMonitorAttributes();
  for (const auto key : ce::KnownKeys) {
    if (Get(id).attributes->Get(key).empty() && !defaults.Get(key).empty()) Set(id, key, defaults.Get(key));
  }
}

void Service::StartAll() {
  std::vector<const Monitor*> running;
  for (const auto& [id, monitor] : m_table->All()) {
    if (monitor.Running()) running.push_back(&monitor);
  }
  StartSpread(running);
}

/// Spread over each one's interval, so that not all checks go out in the same moment; but a machine that is
/// seldom on for long shall come to a daily check too.
void Service::StartSpread(const std::vector<const Monitor*>& monitors) {
  for (std::size_t i = 0; i < monitors.size(); ++i) {
    const auto spread = std::min(CheckTimes::Of(*monitors[i]->attributes).interval, MaxSpread);
    const auto firstAfter = std::chrono::duration_cast<std::chrono::milliseconds>(
        spread * static_cast<double>(i) / static_cast<double>(monitors.size()));
    StartChecks(*monitors[i], firstAfter);
  }
}

void Service::StartChecks(const Monitor& monitor, std::chrono::milliseconds firstAfter) {
  ExpectCheck(monitor, firstAfter);
  try {
    m_worker->Start(TargetOf(monitor), firstAfter);
  } catch (const std::bad_alloc&) {
    m_hasLostStart = true;
  }
}

/// What there was no memory for is started once there is some.
void Service::RepeatLostStarts() {
  if (m_isEnding || !std::exchange(m_hasLostStart, false)) return;
  for (const auto& [id, monitor] : m_table->All()) {
    try {
      if (monitor.Running()) m_worker->Update(TargetOf(monitor));
    } catch (const std::bad_alloc&) {
      m_hasLostStart = true;
    }
  }
}

/// An interval is short for a check whose server is slow, three are not.
void Service::ExpectCheck(const Monitor& monitor, std::chrono::milliseconds firstAfter) {
  m_table->ExpectCheck(monitor.id, m_clock() + firstAfter + 3 * CheckTimes::Of(*monitor.attributes).interval);
}

void Service::StopAll() {
  for (const auto& [id, monitor] : m_table->All()) {
    if (monitor.Running()) m_worker->Stop(id);
  }
}

// Storage

void Service::Load(const std::string& path, Completion done) {
  RequireNotEnding();
  m_storage.Load(path, std::move(done));
}

void Service::LoadIfReplaced(Completion done) {
  RequireNotEnding();
  m_storage.LoadIfReplaced(std::move(done));
}

void Service::Save(const std::string& path, Completion done) {
  m_storage.Save(path, std::move(done));
}

void Service::ReplaceTable(std::unique_ptr<MonitorTable> table) {
  StopAll();
  m_alarms->TableIsReplacedBy(*table, "the monitor is not in the file that was loaded, or stopped there");
  m_table.swap(table);
  m_alarms->TableReplaced();
  m_alarms->Keep();
  m_history->TableReplaced();
  if (!m_isEnding) StartAll();
  NotifyObservers();
  // Releasing many monitors takes a while: not on this thread.
  m_writer->Run([old = std::shared_ptr<MonitorTable>(std::move(table))] {}, [](std::exception_ptr) {});
}

// The end

void Service::Shutdown(Completion done) {
  // The next engine finds out by itself what is wrong.
  for (const auto& [key, condition] : m_health.Now())
    m_alarms->ConditionChanged(key, condition, Health::Change::Ends);
  m_isEnding = true;
  StopAll();
  m_alarms->BeginEnd();
  const auto now = m_clock();
  m_end = End{std::move(done), now + MaxStartTime, now + MaxEndTime};
  GoOnEnding();
}

void Service::HurryShutdown() {
  if (m_end) m_end->at = m_clock();
  GoOnEnding();
}

void Service::GoOnEnding() {
  if (!m_end) return;
  const auto now = m_clock();
  if (now >= m_end->handBackAt) {
    m_end->handBackAt = Moment::max();
    m_worker->HandBackLaunches();
  }
  if (now < m_end->at && m_alarms->IsBusy()) return;
  auto done = std::move(m_end->done);
  m_end.reset();
  m_alarms->WriteAtEnd(ThenSaveDataFile(std::move(done)));
}

void Service::SaveAll(Completion done) {
  m_alarms->Save(ThenSaveDataFile(std::move(done)));
}

/// `done` gets the error of either, `before` that of what came first.
Completion Service::ThenSaveDataFile(Completion done) {
  return [this, done = std::move(done)](const std::exception_ptr& before) {
    m_storage.SaveDataFile([done, before](const std::exception_ptr& error) { done(error ? error : before); });
  };
}

// Silences

std::vector<const Monitor*> Service::FindAll(const std::vector<std::string>& fullNames) const {
  std::vector<const Monitor*> monitors;
  for (const auto& name : fullNames) {
    monitors.push_back(m_table->Find(name));
    if (monitors.back() == nullptr) throw EngineError(EngineErrorCode::NotFound, "no such monitor: " + name);
  }
  return monitors;
}

void Service::Silence(const std::vector<std::string>& fullNames, std::chrono::seconds time,
                      const std::string& because, Completion done) {
  RequireNotEnding();
  if (time <= std::chrono::seconds(0) || time > MaxSilence)
    throw EngineError(EngineErrorCode::Invalid, "a silence lasts from a second to ten years");
  const auto monitors = FindAll(fullNames);
  for (const auto* monitor : monitors)
    m_history->Silenced(*monitor, m_wallClock() + time);
  m_alarms->Silence(monitors, time, PlainText(because), std::move(done));
}

void Service::Unsilence(const std::vector<std::string>& fullNames, Completion done) {
  RequireNotEnding();
  const auto monitors = FindAll(fullNames);
  for (const auto* monitor : monitors)
    m_history->Unsilenced(*monitor);
  m_alarms->Unsilence(monitors, std::move(done));
}

}  // namespace norvane::engine
