#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/EngineStatus.h"
#include "console/engine/MonitorChange.h"
#include "engine/Alarms.h"
#include "engine/SelfCheck.h"
#include "engine/checks/ProbeTable.h"
#include "engine/history/History.h"
#include "engine/model/Health.h"
#include "engine/model/MonitorTable.h"
#include "engine/model/Worker.h"
#include "engine/net/EventLoop.h"
#include "engine/notify/AdminMessages.h"
#include "engine/notify/Heartbeat.h"
#include "engine/store/EngineLog.h"
#include "engine/store/Storage.h"
#include "platform/EventFd.h"
#include "platform/ThreadCheck.h"

namespace norvane::engine {

class EngineState;
class Writer;

using CheckCompletion = std::function<void(std::exception_ptr, const CheckResult&)>;
/// A page counts among those under way as long as somebody holds its `place`.
using FetchCompletion = std::function<void(console::engine::PageReply, std::shared_ptr<void> place)>;

/// Called on the service thread when the table has changed; asks the table what.
class TableObserver {
 public:
  virtual ~TableObserver() = default;
  virtual void TableChanged() = 0;
};

/// The engine itself, on the service thread: the monitors, what starts and stops checks and what is done with
/// their results. Knows nothing of sockets; the link serves it to consoles.
///
/// Whoever runs the service thread calls `OnWake` whenever `WakeFd` is readable. The operations throw
/// EngineError for what they refuse at once; those with a completion report there, once, how what they began
/// has ended.
class Service final : private Storage::Client {
 public:
  /// What "config.ini" says.
  struct Settings {
    AdminAddress admin{};
    Alarms::Options alarms{};
    std::string heartbeat{};  ///< URL; empty: none
    std::chrono::seconds heartbeatPeriod{60};
    std::chrono::hours logAge{0};  ///< the engine's own logs are removed when they are older; 0: never
  };
  struct Options {
    std::string folder;  ///< the application folder; must exist and be writable
    /// Makes the worker, which signals the given event whenever reports wait, and logs from its threads.
    std::function<std::unique_ptr<Worker>(platform::EventFd&, EventLoop::ErrorLog)> makeWorker;
    EventLoop::Clock clock = &std::chrono::steady_clock::now;
    MonitorTypes types = ProbeTable();
    Settings settings{};
    std::string configProblem{};  ///< of "config.ini"; a condition until it is another
    HistoryAges history{};
  };

  /// Reads the engine's own state and the data file of the folder and starts its enabled monitors. If the
  /// data file is damaged the engine starts empty; the next save keeps that file under another name. Throws
  /// StoreError or std::system_error if the folder or a file in it cannot be worked with.
  explicit Service(Options options);
  ~Service() override;
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// What is wrong with the engine itself.
  [[nodiscard]] const Health::Conditions& Conditions() const { return m_health.Now(); }
  [[nodiscard]] console::engine::EngineStatus Status() const;
  /// Whether all threads go on; a supervisor may end a process that says no.
  [[nodiscard]] bool IsAlive() const { return m_selfCheck.IsAlive(); }
  [[nodiscard]] EngineLog& OwnLog() { return m_ownLog; }
  /// Other settings from now on. What they no longer name is sent no more.
  void Configure(const Settings& settings);
  /// Replaces that of the options; empty: there is none any more.
  void SetConfigProblem(const std::string& problem);
  /// A line in "log/changes.log": who has changed what.
  void LogChange(std::string text);
  /// Random, different for every process.
  [[nodiscard]] const std::string& Instance() const { return m_instance; }
  [[nodiscard]] MonitorTypes Types() const { return m_types; }

  [[nodiscard]] int WakeFd() const;
  void OnWake();
  /// Whatever is due by time alone. To be called about once a second.
  void OnSecond();

  /// Has changes of the monitors put on disk that are in no data file yet. To be called about twice a second.
  void KeepChanges() { m_storage.KeepChanges(); }

  [[nodiscard]] const MonitorTable& Table() const override { return *m_table; }
  void AddObserver(TableObserver& observer);
  void RemoveObserver(TableObserver& observer);

  /// Empty text for a key that was never set.
  [[nodiscard]] std::string ConfigValue(std::string_view key) const;
  /// Done when the values are on disk. "ControlPass" cannot be set.
  void CommitConfig(const std::map<std::string, std::string>& values, Completion done);
  /// Compares in constant time.
  [[nodiscard]] bool IsControlPass(std::string_view text) const;

  MonitorId Add(std::string_view fullName);
  void Remove(MonitorId id);
  void Set(MonitorId id, std::string_view key, std::string value);
  /// All of the changes, or none of them: throws EngineError for whatever it would refuse of any, and
  /// (Refused) if somebody else has changed the settings of one of these monitors since change number
  /// `basedOn`. The journal has all or none too; `done` when it has. What does not change a monitor doesn't
  /// disturb its check.
  void Change(const std::vector<console::engine::MonitorChange>& changes, std::uint64_t basedOn,
              Completion done);
  /// Prepares a new monitor: fills empty attributes with the defaults.
  void Init(MonitorId id);

  /// Whether `path` leads to the data file of the folder, which every console loads at its start.
  [[nodiscard]] bool IsDataFile(const std::string& path) const { return m_storage.IsDataFile(path); }
  void Load(const std::string& path, Completion done);
  /// The data file, if it isn't as the engine last saw it.
  void LoadIfReplaced(Completion done);
  void Save(const std::string& path, Completion done);
  /// As `Shutdown` does at the end, the engine's own state too: an engine that is to end on request saves
  /// first, and goes on if it cannot.
  void SaveAll(Completion done);

  /// Runs one check now. Its result is stored and logged like that of a scheduled one, and while the monitor
  /// runs it counts like one for outages; a stopped monitor has none.
  void Check(MonitorId id, CheckCompletion done);
  /// Sends one notification now; a result that isn't good says why.
  void Notify(MonitorId id, CheckCompletion done);

  /// Fetches a page for somebody to look at; gives the ticket by which it may be stopped. `limit` is cut to a
  /// minute. Refused while too many others are under way.
  std::uint64_t Fetch(std::string url, std::chrono::milliseconds limit, FetchCompletion done);
  /// Ends it at once with what has come of the page; harmless if it has ended.
  void StopFetch(std::uint64_t ticket);

  /// As console::engine::Port.
  [[nodiscard]] std::vector<console::engine::OwedMessage> Owed() const { return m_alarms->Owed(); }
  void DropOwed(const std::vector<std::string>& fullNames);

  /// Checks go on, but messages and commands are held for this time, and dropped if the outage ends within
  /// it. `done` when that is on disk. Throws EngineError (NotFound, Invalid) before it changes anything.
  void Silence(const std::vector<std::string>& fullNames, std::chrono::seconds time,
               const std::string& because, Completion done);
  /// Harmless for a monitor that isn't silenced; else like `Silence`.
  void Unsilence(const std::vector<std::string>& fullNames, Completion done);
  [[nodiscard]] const Silences& ActiveSilences() const { return m_alarms->ActiveSilences(); }
  [[nodiscard]] std::vector<console::engine::OpenOutage> OpenOutages() const {
    return m_alarms->OpenOutages();
  }

  /// As `History::Read`.
  void ReadHistory(console::engine::HistoryQuery query, History::ReadCompletion done) {
    m_history->Read(std::move(query), std::move(done));
  }

  /// Stops all checks, waits a few seconds for what is being sent or started, and saves the data file;
  /// `done` comes when all of it is on disk. Changes are refused from now on.
  void Shutdown(Completion done);
  /// An end that has begun waits no longer.
  void HurryShutdown();

 private:
  void ReplaceTable(std::unique_ptr<MonitorTable> table) override;

  void KeepForgotten(bool wasFailing);
  [[nodiscard]] bool Forget(const Monitor& monitor);
  [[nodiscard]] bool FollowSettings(const Monitor& monitor, const Attributes* before,
                                    std::vector<const Monitor*>& toStart);
  void StartAll();
  void StartSpread(const std::vector<const Monitor*>& monitors);
  void StartChecks(const Monitor& monitor, std::chrono::milliseconds firstAfter);
  void RepeatLostStarts();
  void StopAll();
  void Handle(Report& report);
  void Handle(const CheckEnded& ended);
  void HandleJudged(const Monitor& monitor, const CheckResult& result);
  void Handle(const NotificationEnded& ended);
  void Handle(const CommandEvent& event);
  void Handle(const LaunchProgress& progress);
  void Handle(const CommandOutput& output);
  void Handle(FetchEnded& ended);
  void Answer(std::uint64_t ticket, const CheckResult& result);
  void HandleLogFile(const std::string& pattern, const std::string& problem);
  void ConditionChanged(std::string_view key, const Health::Condition& condition, Health::Change change);
  [[nodiscard]] SelfCheck::Observation Observe() const;
  /// Empty: the engine does its work.
  [[nodiscard]] std::string WhyNoHeartbeat() const;
  void ExpectCheck(const Monitor& monitor, std::chrono::milliseconds firstAfter);
  void GoOnEnding();
  [[nodiscard]] Completion ThenSaveDataFile(Completion done);
  void Log(const Monitor& monitor, std::chrono::system_clock::time_point at, const std::string& text);
  void NotifyObservers();
  [[nodiscard]] static CheckTarget TargetOf(const Monitor& monitor);
  [[nodiscard]] const Monitor& Get(MonitorId id) const;
  [[nodiscard]] std::vector<const Monitor*> FindAll(const std::vector<std::string>& fullNames) const;
  void RequireNotEnding() const;

  platform::ThreadCheck m_thread;
  MonitorTypes m_types;
  std::string m_folder;
  std::string m_instance;
  EventLoop::Clock m_clock;
  Holds::WallClock m_wallClock;
  platform::EventFd m_wake;
  std::unique_ptr<Writer> m_writer;
  EngineLog m_ownLog;
  AdminMessages m_admin;
  std::unique_ptr<Alarms> m_alarms;  // none until all that it uses is there: conditions come before
  Health m_health;
  SelfCheck m_selfCheck;
  std::map<std::string, std::string> m_badLogFiles;  // what is wrong, by pattern
  std::unique_ptr<EngineState> m_state;
  Storage m_storage;
  std::unique_ptr<MonitorTable> m_table;
  std::unique_ptr<History> m_history;
  std::unique_ptr<Worker> m_worker;
  Heartbeat m_heartbeat;
  std::vector<TableObserver*> m_observers;
  std::map<std::uint64_t, CheckCompletion> m_onDemand;  // by ticket
  struct Fetching {
    FetchCompletion done;
    std::shared_ptr<void> place;
  };
  std::map<std::uint64_t, Fetching> m_fetches;  // by ticket
  std::shared_ptr<std::size_t> m_fetchPlacesUsed = std::make_shared<std::size_t>(0);
  std::uint64_t m_lastTicket = 0;
  std::chrono::hours m_logAge;
  Moment m_nextTend{};
  std::uint64_t m_wakes = 0;
  bool m_hasLostStart = false;  // for want of memory
  bool m_isEnding = false;
  struct End {
    Completion done;
    Moment handBackAt, at;
  };
  std::optional<End> m_end;  // until it has come
};

}  // namespace norvane::engine
