#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/EngineStatus.h"
#include "console/engine/MonitorChange.h"
#include "console/engine/MonitorHistory.h"
#include "console/engine/MonitorNames.h"
#include "console/engine/MonitorRecord.h"
#include "console/engine/OpenOutage.h"
#include "console/engine/OwedMessage.h"
#include "console/engine/PageFetch.h"

namespace norvane::console::engine {

/// A type of monitor that the engine offers.
struct MonitorTypeInfo {
  std::string name;
  bool hasPage = true;  ///< whether the console is to show a property page for it
};

/// What the engine says of itself.
struct EngineInfo {
  std::string instance;  ///< random, another for every engine process
  std::string version;
  std::uint32_t processId = 0;
  std::string folder;
  std::chrono::system_clock::time_point startedAt;
  std::vector<MonitorTypeInfo> monitorTypes;
};

/// A time in which a monitor's outages send and start nothing.
struct SilenceInfo {
  std::chrono::system_clock::time_point until;
  std::string because;  ///< may be empty
};

/// How a check or notification ended that could be carried out.
struct Outcome {
  bool good = false;
  std::string reason;
  std::chrono::milliseconds duration{0};
  MonitorId monitor = 0;  ///< the one to go on with; another if the engine has replaced it meanwhile
};

/// As `basedOn` of a change: it is made whatever others have changed.
inline constexpr std::uint64_t AnyChange = UINT64_MAX;

using ServiceValues = std::map<std::string, std::string, std::less<>>;

/// The engine in plain values; the one way by which this process reaches it. Text is UTF-8. Every function
/// may throw EngineError and blocks until the engine has answered; a read sees every write that this process
/// has made before it. For one thread.
class Port {
 public:
  virtual ~Port() = default;

  // Reads.

  [[nodiscard]] virtual const EngineInfo& Info() = 0;
  [[nodiscard]] virtual std::size_t Count() = 0;
  /// `position` counts from 1, in the order in which the monitors were added.
  [[nodiscard]] virtual MonitorId IdAt(int position) = 0;
  [[nodiscard]] virtual MonitorId Find(std::string_view fullName) = 0;
  [[nodiscard]] virtual MonitorPtr Get(MonitorId id) = 0;
  /// The monitors that `names` name (`SelectMonitors`), all if there is none; asked of the engine itself.
  [[nodiscard]] virtual std::vector<NamedMonitor> Select(const std::vector<std::string>& names) = 0;
  /// Those of `ids` that are still there, in this order; asked of the engine itself.
  [[nodiscard]] virtual MonitorSnapshot Read(const std::vector<MonitorId>& ids) = 0;
  /// All monitors, in order. Two snapshots share the records that did not change between them.
  [[nodiscard]] virtual MonitorSnapshot Snapshot() = 0;
  /// The number of the last change that reads see.
  [[nodiscard]] virtual std::uint64_t LastChange() = 0;
  /// Waits until something changed after the number that an earlier call gave (0: nothing seen yet), or until
  /// the time is over; gives the number of what there is now.
  [[nodiscard]] virtual std::uint64_t WaitForUpdate(std::uint64_t seen, std::chrono::milliseconds time) = 0;
  /// From now on has `callback` run, on another thread, whenever monitors changed, or the engine has gone;
  /// instead of the one of an earlier call, which runs no more when this returns. It may be empty, and must
  /// not throw nor call the port. Doesn't connect.
  virtual void OnUpdate(std::function<void()> callback) = 0;
  /// Empty text for a key that was never set.
  [[nodiscard]] virtual std::string ServiceValue(std::string_view key) = 0;
  /// Asks the engine how it is doing, without waiting for the answer. The query must not outlive the port.
  [[nodiscard]] virtual std::unique_ptr<StatusQuery> QueryStatus() = 0;

  /// Oldest first.
  [[nodiscard]] virtual std::vector<OwedMessage> Owed() = 0;
  /// Those that last, by full name.
  [[nodiscard]] virtual std::map<std::string, SilenceInfo> Silences() = 0;
  /// In no order.
  [[nodiscard]] virtual std::vector<OpenOutage> OpenOutages() = 0;
  /// What became of a monitor, also of a removed one. Throws NotFound.
  [[nodiscard]] virtual MonitorHistory History(const HistoryQuery& query) = 0;

  // Writes. All but the first need the open gate, and so does a fetch.

  virtual void OpenGate(std::string_view controlPass) = 0;
  /// On disk when this returns.
  virtual void CommitServiceValues(const ServiceValues& values) = 0;
  /// That of the application folder's own data file needs no gate.
  virtual void Load(std::string_view path) = 0;
  virtual void Save(std::string_view path) = 0;
  /// Adds a stopped monitor.
  virtual void Add(std::string_view fullName) = 0;
  virtual void Remove(std::string_view fullName) = 0;
  virtual void SetAttribute(MonitorId id, std::string_view key, std::string_view value) = 0;
  /// All of the changes, or none of them, on disk when this returns; refused if somebody else has changed the
  /// settings of one of these monitors after the change of number `basedOn`.
  virtual void Change(const std::vector<MonitorChange>& changes, std::uint64_t basedOn) = 0;
  /// Gives the monitor to go on with, as `Outcome::monitor`.
  virtual MonitorId Init(MonitorId id) = 0;
  [[nodiscard]] virtual Outcome Check(MonitorId id) = 0;
  [[nodiscard]] virtual Outcome Notify(MonitorId id) = 0;
  /// What these monitors owe is not sent; without a name, all that is owed. Throws NotFound if one owes
  /// nothing.
  virtual void DropOwed(const std::vector<std::string>& fullNames) = 0;
  /// Checks go on, but messages and commands are held for this time, and dropped if the outage ends within
  /// it. On disk when this returns.
  virtual void Silence(const std::vector<std::string>& fullNames, std::chrono::seconds time,
                       std::string_view because) = 0;
  virtual void Unsilence(const std::vector<std::string>& fullNames) = 0;
  /// Returns when the engine has ended and another can serve its folder. An engine that cannot save goes on,
  /// and this throws, unless `force` makes it end all the same.
  virtual void Shutdown(bool force) = 0;

  /// Begins to fetch a page as the check of a web monitor does, but that the page of an HTTP error is a page
  /// too. Doesn't wait, and doesn't throw: failures are told in the reply. `limit` is the time until the page
  /// is complete. The fetch must not outlive the port.
  [[nodiscard]] virtual std::unique_ptr<PageFetch> Fetch(const std::string& url,
                                                         std::chrono::milliseconds limit) = 0;
};

/// Opens the gate with the pass as the engine gives it out.
inline void OpenGate(Port& engine) {
  engine.OpenGate(engine.ServiceValue(service::ControlPass));
}

}  // namespace norvane::console::engine
