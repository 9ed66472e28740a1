#include "engine/Service.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "console/engine/EngineError.h"
#include "engine/model/CheckTimes.h"
#include "engine/outages/Outages.h"
#include "engine/store/DataFile.h"
#include "engine/store/KeepAside.h"
#include "engine/store/StoreError.h"
#include "engine/store/Writer.h"
#include "platform/RandomText.h"

namespace norvane::engine {

namespace ce = console::engine;
using ce::EngineError;
using ce::EngineErrorCode;

namespace {
constexpr std::size_t MaxNotices = 50;
constexpr std::size_t MaxConfigValues = 64;
constexpr std::chrono::milliseconds LongestSpread = std::chrono::minutes(10);
constexpr const char* CommandsLog = "log/commands.log";
constexpr std::uintmax_t MaxCommandsLogSize = 1 << 20;
constexpr const char* DefaultLog = "log/NorvaneLog%d%m%y.log";

std::uint32_t NumberOf(MonitorId id) {
  return static_cast<std::uint32_t>(id);
}

/// The same file under whatever name; a name that cannot be followed stands for itself.
std::string Canonical(const std::string& folder, const std::string& path) {
  std::error_code error;
  const auto full = std::filesystem::path(folder) / path;
  const auto canonical = std::filesystem::weakly_canonical(full, error);
  return error ? full.string() : canonical.string();
}

/// What a console is told when a file could not be read or written.
std::exception_ptr ForConsole(std::exception_ptr error) {
  try {
    std::rethrow_exception(error);
  } catch (const StoreError& store) {
    const auto code = store.Code() == StoreErrorCode::NoFile       ? EngineErrorCode::NotFound
                      : store.Code() == StoreErrorCode::Unreadable ? EngineErrorCode::Invalid
                                                                   : EngineErrorCode::Failed;
    return std::make_exception_ptr(EngineError(code, store.what()));
  } catch (...) {
    return std::current_exception();
  }
}

std::string TextOf(std::exception_ptr error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

datafile::Row RowOf(const Monitor& monitor) {
  return {NumberOf(monitor.id), monitor.name, monitor.attributes};
}

CheckTarget TargetOf(const Monitor& monitor) {
  return {monitor.id, monitor.name, monitor.attributes};
}
}  // namespace

Service::Service(Options options)
    : m_types(options.types),
      m_folder(std::move(options.folder)),
      m_dataFile(Canonical(m_folder, "NorvaneEngine.dat")),
      m_instance(platform::RandomText(8)) {
  const auto outages = OpenState();
  LoadAtStart();
  m_writer = std::make_unique<Writer>(m_folder, m_wake);
  m_runner = options.makeRunner(m_wake);
  m_outages = std::make_unique<Outages>(
      Outages::Doors{*m_runner, [this] { return ++m_lastTicket; },
                     [this](const auto& monitor, auto at, const auto& text) { Log(monitor, at, text); },
                     std::move(options.clock)});
  m_outages->Restore(outages, *m_table);
  KeepOutages();
  StartAll();
}

Service::~Service() {
  m_runner.reset();
  m_writer.reset();
}

OutageRecords Service::OpenState() {
  OutageRecords outages;
  const auto open = [&] {
    m_state = std::make_unique<StateFile>(m_folder);
    m_config = m_state->Config();
    outages = m_state->OpenOutages();
  };
  try {
    open();
  } catch (const StoreError& error) {
    if (error.Code() != StoreErrorCode::Unreadable) throw;
    m_state.reset();
    Notice(std::string(error.what()) + "; it was kept as " + KeepAside(StateFile::PathIn(m_folder)) +
           ", and the service-wide values were lost");
    open();
  }
  if (ConfigValue(ce::service::ControlPass).empty()) {
    m_config[std::string(ce::service::ControlPass)] = platform::RandomText(16);
    m_state->SetConfig(m_config);
  }
  return outages;
}

void Service::LoadAtStart() {
  m_table = std::make_unique<MonitorTable>(m_lastGeneration, m_types);
  try {
    auto contents = datafile::Load(m_dataFile, m_lastGeneration, m_types);
    m_table = std::move(contents.table);
    m_saved = SavedMark{std::move(contents.state), m_table->LastChange()};
    m_servedFile = m_dataFile;
  } catch (const StoreError& error) {
    if (error.Code() == StoreErrorCode::NoFile) return;
    // By the next save it may be well again, and an engine without monitors would replace it.
    if (error.Code() == StoreErrorCode::Failed) throw;
    Notice(std::string("the data file cannot be read, so the engine starts without monitors: ") +
           error.what());
  }
}

int Service::WakeFd() const {
  return m_wake.Fd();
}

void Service::OnWake() {
  m_wake.Clear();
  for (const auto& report : m_writer->Deliver())
    Notice(report);
  const auto changeBefore = m_table->LastChange();
  for (const auto& report : m_runner->TakeReports())
    Take(report);
  KeepOutages();
  if (m_table->LastChange() != changeBefore) TellObservers();
}

void Service::AddObserver(TableObserver& observer) {
  m_observers.push_back(&observer);
}

void Service::RemoveObserver(TableObserver& observer) {
  std::erase(m_observers, &observer);
}

void Service::TellObservers() {
  for (auto* observer : m_observers)
    observer->TableChanged();
}

const Monitor& Service::Get(MonitorId id) const {
  const Monitor* monitor = m_table->Find(id);
  if (monitor == nullptr) throw EngineError(EngineErrorCode::NotFound, "the monitor does not exist");
  return *monitor;
}

// Service-wide values

std::string Service::ConfigValue(std::string_view key) const {
  const auto value = m_config.find(key);
  return value == m_config.end() ? std::string() : value->second;
}

void Service::CommitConfig(std::map<std::string, std::string> values, Completion done) {
  for (const auto& [key, value] : values) {
    if (key == ce::service::ControlPass || key.empty() || key.size() > Attributes::MaxKeySize ||
        value.size() > Attributes::MaxValueSize) {
      done(std::make_exception_ptr(
          EngineError(EngineErrorCode::Invalid, "the service value cannot be set: " + key)));
      return;
    }
  }
  const StateFile::Values changed(values.begin(), values.end());
  auto all = changed;
  all.insert(m_config.begin(), m_config.end());
  if (all.size() > MaxConfigValues) {
    done(std::make_exception_ptr(EngineError(EngineErrorCode::Invalid, "too many service values")));
    return;
  }
  m_writer->Run([this, changed] { m_state->SetConfig(changed); },
                [this, changed, done = std::move(done)](std::exception_ptr error) {
                  if (error) return done(ForConsole(error));
                  for (const auto& [key, value] : changed)
                    m_config[key] = value;
                  done(nullptr);
                });
}

bool Service::IsControlPass(std::string_view text) const {
  const std::string pass = ConfigValue(ce::service::ControlPass);
  unsigned char difference = text.size() == pass.size() ? 0 : 1;
  for (std::size_t i = 0; i < pass.size(); ++i)
    difference |= static_cast<unsigned char>(pass[i] ^ (i < text.size() ? text[i] : 0));
  return difference == 0;
}

// Monitors

MonitorId Service::Add(std::string_view fullName) {
  const MonitorId id = m_table->Add(fullName, NewMonitorAttributes()).id;
  TellObservers();
  return id;
}

void Service::Remove(MonitorId id) {
  m_runner->Stop(Get(id).id);
  m_outages->Forget(id);
  KeepOutages();
  m_table->Remove(id);
  TellObservers();
}

void Service::Set(MonitorId id, std::string_view key, std::string value) {
  const bool ran = Get(id).Running();
  const auto changeBefore = m_table->LastChange();
  m_table->Set(id, key, std::move(value));
  if (m_table->LastChange() == changeBefore) return;
  const Monitor& monitor = Get(id);
  if (!ran && monitor.Running()) {
    m_table->NoteCheck(id, {});
    m_runner->Start(TargetOf(monitor), std::chrono::milliseconds(0));
  } else if (ran && !monitor.Running()) {
    m_runner->Stop(id);
    m_outages->Forget(id);
    KeepOutages();
  } else if (ran && key != ce::keys::Result) {
    m_runner->Update(TargetOf(monitor));
  }
  TellObservers();
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
  // Spread over each one's interval, so that a start doesn't send all checks out in the same moment; but a
  // machine that is seldom on for long shall come to a daily check too.
  for (std::size_t i = 0; i < running.size(); ++i) {
    const auto spread = std::min(CheckTimes::Of(*running[i]->attributes).interval, LongestSpread);
    m_runner->Start(TargetOf(*running[i]),
                    std::chrono::duration_cast<std::chrono::milliseconds>(
                        spread * static_cast<double>(i) / static_cast<double>(running.size())));
  }
}

void Service::StopAll() {
  for (const auto& [id, monitor] : m_table->All()) {
    if (monitor.Running()) m_runner->Stop(id);
  }
}

// Storage

void Service::EnqueueStorage(StorageStep step) {
  m_storage.push_back(std::move(step));
  if (m_storage.size() == 1) NextStorageStep();
}

void Service::NextStorageStep() {
  if (m_storage.empty()) return;
  // The step stays at the head of the queue while it runs.
  m_storage.front()([this] {
    m_storage.pop_front();
    NextStorageStep();
  });
}

void Service::Load(std::string path, Completion done) {
  EnqueueStorage(
      [this, path = Canonical(m_folder, path), done = std::move(done)](std::function<void()> next) {
        StartLoad(path, [done, next = std::move(next)](std::exception_ptr error) {
          done(error);
          next();
        });
      });
}

void Service::StartLoad(const std::string& path, Completion done) {
  const auto served = path == m_servedFile && m_saved ? m_saved->state : std::string();
  auto contents = std::make_shared<datafile::Contents>();
  m_writer->Run(
      [contents, path, served, types = m_types, generation = ++m_lastGeneration] {
        if (served.empty() || datafile::StateOf(path) != served)
          *contents = datafile::Load(path, generation, types);
      },
      [this, contents, path, done = std::move(done)](std::exception_ptr error) {
        if (error) return done(ForConsole(error));
        if (!contents->table) return done(nullptr);
        ReplaceTable(std::move(contents->table));
        m_servedFile = path;
        m_saved.reset();
        if (path == m_dataFile) m_saved = SavedMark{std::move(contents->state), m_table->LastChange()};
        done(nullptr);
      });
}

void Service::ReplaceTable(std::unique_ptr<MonitorTable> table) {
  StopAll();
  m_outages->ForgetAll();
  KeepOutages();
  m_table.swap(table);
  // Letting go of many monitors takes a while: not on this thread.
  m_writer->Run([old = std::shared_ptr<MonitorTable>(std::move(table))] {}, [](std::exception_ptr) {});
  StartAll();
  TellObservers();
}

void Service::Save(std::string path, Completion done) {
  EnqueueStorage(
      [this, path = Canonical(m_folder, path), done = std::move(done)](std::function<void()> next) {
        StartSave(path, false, [done, next = std::move(next)](std::exception_ptr error) {
          done(error);
          next();
        });
      });
}

void Service::StartSave(const std::string& path, bool everything, Completion done) {
  struct Saving {
    datafile::Changes changes;
    std::optional<std::string> state;
    std::string keptAs;
  };
  auto saving = std::make_shared<Saving>();
  auto& changes = saving->changes;
  changes.total = m_table->Count();
  if (m_saved && path == m_dataFile) changes.known = m_saved->state;
  if (changes.known && !everything) {
    const auto most =
        m_table->Count() / 2;  // beyond that, writing a new file is cheaper than changing the old one
    for (const auto id : m_table->RemovedSince(m_saved->change))
      changes.removed.push_back(NumberOf(id));
    const Monitor* monitor = m_table->NextChanged(m_saved->change);
    for (; monitor != nullptr && changes.rows.size() < most; monitor = m_table->NextChanged(monitor->change))
      changes.rows.push_back(RowOf(*monitor));
    changes.all = monitor != nullptr || changes.removed.size() > most;
  }
  if (changes.all) {
    changes.rows.clear();
    for (const auto& [id, each] : m_table->All())
      changes.rows.push_back(RowOf(each));
  }
  const auto change = m_table->LastChange();
  m_writer->Run(
      [saving, path, types = m_types] {
        saving->state = datafile::Save(path, saving->changes, types, saving->keptAs);
      },
      [this, saving, path, change, done = std::move(done)](std::exception_ptr error) {
        if (!saving->keptAs.empty())
          Notice(path + " was not a readable data file; it was kept as " + saving->keptAs);
        if (error) return done(ForConsole(error));
        if (!saving->state) return StartSave(path, true, done);
        if (path == m_dataFile) {
          m_saved = SavedMark{*saving->state, change};
          m_servedFile = path;
        }
        done(nullptr);
      });
}

void Service::Shutdown(Completion done) {
  StopAll();
  WriteOutages(true);
  Save(m_dataFile, std::move(done));
}

// Checks

void Service::Check(MonitorId id, CheckCompletion done) {
  const Monitor& monitor = Get(id);
  m_onDemand.emplace(++m_lastTicket, std::move(done));
  m_runner->CheckOnce(TargetOf(monitor), m_lastTicket);
}

void Service::Notify(MonitorId id, CheckCompletion done) {
  const Monitor& monitor = Get(id);
  m_onDemand.emplace(++m_lastTicket, std::move(done));
  m_runner->NotifyOnce(m_outages->NotificationOf(monitor), m_lastTicket);
}

void Service::Take(const CheckReport& report) {
  using Kind = CheckReport::Kind;
  const Monitor* monitor = m_table->Find(report.id);
  if (report.kind == Kind::Output)
    m_writer->Log({CommandsLog, report.result.at, report.remark, MaxCommandsLogSize});
  else if (monitor != nullptr && !report.remark.empty())
    Log(*monitor, report.result.at, report.remark);
  if (report.kind == Kind::Notification)
    TakeNotification(monitor, report);
  else if (monitor != nullptr && !report.result.reason.empty())
    TakeCheck(*monitor, report.result);
  if (report.ticket == 0) return;
  const auto waiting = m_onDemand.extract(report.ticket);
  if (!waiting.empty()) waiting.mapped()(nullptr, report.result);
}

void Service::TakeCheck(const Monitor& monitor, const CheckResult& result) {
  m_table->Set(monitor.id, ce::keys::Result, result.reason);
  Log(monitor, result.at,
      std::string(result.good ? "good" : "failed") + " in " + std::to_string(result.duration.count()) +
          " ms: " + result.reason);
  const int failures = monitor.Running() ? m_outages->Take(monitor, result) : 0;
  m_table->NoteCheck(monitor.id, {true, result.at, result.duration, failures});
}

void Service::TakeNotification(const Monitor* monitor, const CheckReport& report) {
  if (monitor != nullptr)
    Log(*monitor, report.result.at,
        report.result.good ? "notification sent" : "notification failed: " + report.result.reason);
  m_outages->NotifyEnded(report.id, report.ticket, report.result.good);
}

/// One write at a time: what changes meanwhile goes together into the next one, and so does what a full disk
/// did not take.
void Service::KeepOutages() {
  if (m_outageWrites == 0) WriteOutages(false);
}

void Service::WriteOutages(bool everything) {
  auto changes = m_outages->TakeChanges(everything);
  if (changes.empty() && !everything) return;
  changes.merge(std::exchange(m_unwrittenOutages, {}));
  ++m_outageWrites;
  m_writer->Run([this, changes] { m_state->SetOutages(changes); },
                [this, changes](std::exception_ptr error) {
                  --m_outageWrites;
                  if (error) {
                    m_unwrittenOutages = changes;
                    Notice("an outage may be notified again after a restart: " + TextOf(error));
                  }
                  KeepOutages();
                });
}

void Service::Log(const Monitor& monitor, std::chrono::system_clock::time_point at, const std::string& text) {
  std::string pattern = monitor.attributes->Get(ce::keys::LogFile);
  if (pattern.empty()) pattern = ConfigValue(ce::service::LogFile);
  if (pattern.empty()) pattern = DefaultLog;
  m_writer->Log({std::move(pattern), at, monitor.name + ": " + text});
}

void Service::Notice(const std::string& text) {
  std::fprintf(stderr, "norvane-engine: %s\n", text.c_str());
  m_notices.push_back(text);
  if (m_notices.size() > MaxNotices) m_notices.pop_front();
}

}  // namespace norvane::engine
