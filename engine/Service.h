#pragma once

#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/checks/ProbeType.h"
#include "engine/model/CheckRunner.h"
#include "engine/model/MonitorTable.h"
#include "engine/net/EventLoop.h"
#include "engine/store/StateFile.h"
#include "platform/EventFd.h"

namespace norvane::engine {

class Outages;
class Writer;

/// Called on the service thread, once. The exception is null after a success.
using Completion = std::function<void(std::exception_ptr)>;
using CheckCompletion = std::function<void(std::exception_ptr, const CheckResult&)>;

/// Hears of changes to the table, on the service thread; asks the table what they are.
class TableObserver {
 public:
  virtual ~TableObserver() = default;
  virtual void TableChanged() = 0;
};

/// The engine itself, on the service thread: the monitors, the service-wide values, what starts and stops
/// checks and what is done with their results. Knows nothing of sockets; the link serves it to consoles.
///
/// Whoever runs the service thread calls `OnWake` whenever `WakeFd` is readable. Synchronous operations throw
/// EngineError; the others report through their completion and never throw.
class Service {
 public:
  struct Options {
    std::string folder;  ///< the application folder; must exist and be writable
    /// Makes the runner; it signals the given event whenever reports wait.
    std::function<std::unique_ptr<CheckRunner>(platform::EventFd&)> makeRunner;
    EventLoop::Clock clock = &std::chrono::steady_clock::now;
    MonitorTypes types = ProbeTable();
  };

  /// Reads the engine's own state and the data file of the folder and starts its enabled monitors. If the
  /// data file is damaged the engine starts empty; the next save keeps that file under another name (see
  /// `Notices`). Throws StoreError or std::system_error if the folder or a file in it cannot be worked with.
  explicit Service(Options options);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// What the administrator should know, a line each, oldest first: files that could not be read or written.
  /// Each was also written to standard error when it came up.
  [[nodiscard]] const std::deque<std::string>& Notices() const { return m_notices; }
  [[nodiscard]] const std::string& Folder() const { return m_folder; }
  /// Random, different for every process: tells one engine instance from another.
  [[nodiscard]] const std::string& Instance() const { return m_instance; }

  [[nodiscard]] MonitorTypes Types() const { return m_types; }

  [[nodiscard]] int WakeFd() const;
  void OnWake();

  [[nodiscard]] const MonitorTable& Table() const { return *m_table; }
  void AddObserver(TableObserver& observer);
  void RemoveObserver(TableObserver& observer);

  /// Empty text for a key that was never set.
  [[nodiscard]] std::string ConfigValue(std::string_view key) const;
  /// Done when the values are on disk. "ControlPass" cannot be set.
  void CommitConfig(std::map<std::string, std::string> values, Completion done);
  /// Compares in constant time.
  [[nodiscard]] bool IsControlPass(std::string_view text) const;

  MonitorId Add(std::string_view fullName);
  void Remove(MonitorId id);
  void Set(MonitorId id, std::string_view key, std::string value);
  /// Prepares a new monitor: fills empty attributes with the defaults.
  void Init(MonitorId id);

  void Load(std::string path, Completion done);
  void Save(std::string path, Completion done);

  /// Runs one check now. Its result is stored and logged like that of a scheduled one, and while the monitor
  /// runs it counts like one for outages; a stopped monitor has none.
  void Check(MonitorId id, CheckCompletion done);
  /// Sends one notification now; a result that isn't good tells why.
  void Notify(MonitorId id, CheckCompletion done);

  /// Stops all checks and saves the data file; `done` comes when all of it is on disk.
  void Shutdown(Completion done);

 private:
  /// The content that the data file is known to have, so that only later changes need to be written.
  struct SavedMark {
    std::string state;
    std::uint64_t change = 0;
  };
  /// A step of `Load` or `Save`; calls its argument at its end. One runs at a time, in order.
  using StorageStep = std::function<void(std::function<void()>)>;

  /// Gives the outages that lasted when the last engine ended.
  OutageRecords OpenState();
  void LoadAtStart();
  void EnqueueStorage(StorageStep step);
  void NextStorageStep();
  void StartLoad(const std::string& path, Completion done);
  void StartSave(const std::string& path, bool everything, Completion done);
  void ReplaceTable(std::unique_ptr<MonitorTable> table);

  void StartAll();
  void StopAll();
  void Take(const CheckReport& report);
  void TakeCheck(const Monitor& monitor, const CheckResult& result);
  void TakeNotification(const Monitor* monitor, const CheckReport& report);
  void KeepOutages();
  void WriteOutages(bool everything);
  void Log(const Monitor& monitor, std::chrono::system_clock::time_point at, const std::string& text);
  void Notice(const std::string& text);
  void TellObservers();
  [[nodiscard]] const Monitor& Get(MonitorId id) const;

  MonitorTypes m_types;
  std::string m_folder;
  std::string m_dataFile;
  std::string m_instance;
  std::deque<std::string> m_notices;
  platform::EventFd m_wake;
  std::unique_ptr<StateFile> m_state;  // the writer thread's alone once it runs
  std::unique_ptr<Writer> m_writer;
  std::unique_ptr<CheckRunner> m_runner;
  std::unique_ptr<MonitorTable> m_table;
  std::unique_ptr<Outages> m_outages;
  int m_outageWrites = 0;            // handed to the writer and not yet done
  OutageChanges m_unwrittenOutages;  // of a write that failed
  std::map<std::string, std::string, std::less<>> m_config;
  std::vector<TableObserver*> m_observers;
  std::map<std::uint64_t, CheckCompletion> m_onDemand;  // by ticket
  std::uint64_t m_lastTicket = 0;
  std::uint32_t m_lastGeneration = 1;
  std::string m_servedFile;  // the file whose monitors these are; empty if they are of no file
  std::optional<SavedMark> m_saved;
  std::deque<StorageStep> m_storage;
};

}  // namespace norvane::engine
