#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/CheckRunner.h"
#include "engine/MonitorTable.h"
#include "platform/EventFd.h"

namespace norvane::engine {

class Writer;
struct SavedState;

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
  };

  /// Reads the engine's own state and the data file of the folder and starts its enabled monitors. A data
  /// file that cannot be read is kept aside under another name (see `StartMessages`) and the engine starts
  /// empty.
  explicit Service(Options options);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// What the administrator should know of the start, a line each.
  [[nodiscard]] const std::vector<std::string>& StartMessages() const { return m_startMessages; }
  /// Random, different for every process: tells one engine instance from another.
  [[nodiscard]] const std::string& Instance() const { return m_instance; }

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

  /// Runs one check now. Its result is stored and logged like that of a scheduled one.
  void Check(MonitorId id, CheckCompletion done);
  /// Sends one notification now; a result that isn't good tells why.
  void Notify(MonitorId id, CheckCompletion done);

  /// Stops all checks and saves the data file; `done` comes when all of it is on disk.
  void Shutdown(Completion done);

 private:
  void Apply(const CheckReport& report);
  void StartChecks(bool spread);
  void ReplaceTable(std::unique_ptr<MonitorTable> table, std::string path);
  void ChangeStatus(const Monitor& before, std::string_view status);
  [[nodiscard]] const Monitor& Get(MonitorId id) const;
  [[nodiscard]] CheckTarget TargetOf(const Monitor& monitor) const;
  void Log(const Monitor* monitor, std::chrono::system_clock::time_point at, std::string text);
  void NotifyObservers();

  std::string m_folder;
  std::string m_instance;
  std::vector<std::string> m_startMessages;
  platform::EventFd m_wake;
  std::unique_ptr<Writer> m_writer;
  std::unique_ptr<CheckRunner> m_runner;
  std::unique_ptr<MonitorTable> m_table;
  std::map<std::string, std::string, std::less<>> m_config;
  std::vector<TableObserver*> m_observers;
  std::map<std::uint64_t, std::pair<MonitorId, CheckCompletion>> m_onDemand;
  std::uint64_t m_lastTicket = 0;
  std::string m_servedFile;
  bool m_stopping = false;
};

}  // namespace norvane::engine
