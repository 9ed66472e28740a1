#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "console/engine/MonitorKeys.h"
#include "console/engine/Port.h"

/// The monitor engine as the console's objects: thin classes over the port, which they must not outlive. As
/// there, text is UTF-8, every operation may throw EngineError and blocks until the engine has answered, a
/// read sees every write that this process has made before it, and all objects belong to one thread.
namespace norvane::console::engine {

class MonitorItem;
class MonitorRunner;
class MonitorType;
class ServiceRoot;

/// The class that a `ServiceRef` must name before `GetRoot`.
inline constexpr std::string_view RootClassId = "{1B2D038B-C28B-11D3-9CCC-00A0246E266E}";

/// Called before each operation of the objects, and before an object is made directly. What it
/// throws becomes the operation's failure.
class CallObserver {
 public:
  virtual ~CallObserver() = default;
  /// `call` reads as in the code: `SetAttr("Status", "Enable")`, `GetRoot`, `Item(1)`; `Resolve`, `Add` and
  /// `Remove` show the name in their reference, `GetComponent` the id, a runner's calls the item's name,
  /// `Fetch` the limit in milliseconds. The operations that two objects share are told apart by
  /// `MonitorTypeList.Count`, `MonitorTypeList.Item(1)` and `MonitorType.Name`. Making an object is
  /// `New ServiceRef`. `operation` is the part before the parenthesis.
  virtual void OnCall(std::string_view operation, const std::string& call) = 0;
};

/// What the objects of one factory share.
class EngineObject {
 protected:
  EngineObject(Port& port, CallObserver* observer) : m_port(port), m_observer(observer) {}

  template <class... Arguments>
  void Announce(std::string_view operation, const Arguments&... arguments) const {
    if (m_observer == nullptr) return;
    std::string list;
    ((list.append(list.empty() ? "" : ", ").append(AsCode(arguments))), ...);
    std::string call(operation);
    if (!list.empty()) call.append("(").append(list).append(")");
    m_observer->OnCall(operation, call);
  }

  Port& m_port;
  CallObserver* m_observer;

 private:
  static std::string AsCode(int number) { return std::to_string(number); }
  static std::string AsCode(std::string_view text) { return '"' + std::string(text) + '"'; }
};

/// Service-wide values. `SetService` comes first and accepts ServiceName only.
class ServiceConfig : public EngineObject {
 public:
  explicit ServiceConfig(const EngineObject& origin) : EngineObject(origin) {}
  void SetService(std::string_view name);
  /// Held back until `Commit`.
  void SetValue(std::string_view key, std::string_view value);
  /// Ends a run of `SetValue`: the values are kept across restarts of the engine once this returns.
  void Commit();
  /// The committed value; empty text for a key that was never set.
  [[nodiscard]] std::string GetValue(std::string_view key);

 private:
  void CheckNamed() const;
  bool m_named = false;
  ServiceValues m_uncommitted;
};

/// Until a process has opened the gate with the engine's "ControlPass", its writes, saves and runners are
/// refused.
class ControlGate : public EngineObject {
 public:
  explicit ControlGate(const EngineObject& origin) : EngineObject(origin) {}
  void Open(std::string_view controlPass);
};

/// Names something in the engine: first the machine and class for `GetRoot`, then a monitor.
class ServiceRef : public EngineObject {
 public:
  explicit ServiceRef(const EngineObject& origin) : EngineObject(origin) {}
  void SetMachine(std::string_view computerName);
  void SetClassId(std::string_view classId);
  /// Needs machine and class id.
  [[nodiscard]] std::shared_ptr<ServiceRoot> GetRoot();
  void SetMonitorName(std::string_view fullName);
  /// The monitor that the last `MonitorList::Resolve` with this reference found.
  [[nodiscard]] std::shared_ptr<MonitorItem> GetMonitor();

 private:
  friend class MonitorList;
  std::string m_machine;
  std::string m_classId;
  std::string m_monitorName;
  std::optional<MonitorId> m_resolved;
};

/// The data file. `Load` needs no open gate, since it comes first at the console's start.
class ServiceStore : public EngineObject {
 public:
  static constexpr std::string_view ComponentId = "{24ADEE03-682A-11D3-9CA3-00A0246E266E}";
  explicit ServiceStore(const EngineObject& origin) : EngineObject(origin) {}
  /// Loading the file that the engine already serves changes nothing, unless somebody has replaced it;
  /// another file replaces all monitors. After a failure all monitors are as they were.
  void Load(std::string_view path);
  /// The file holds either its old or the new state, whatever happens meanwhile.
  void Save(std::string_view path);
};

class MonitorList : public EngineObject {
 public:
  static constexpr std::string_view ComponentId = "{722FC7DE-64E6-11D3-9CA3-00A0246E266E}";
  explicit MonitorList(const EngineObject& origin) : EngineObject(origin) {}
  /// Finds the monitor that `ref` names. Throws `Gone` if the engine restarted since connecting, `NotFound`
  /// if it has no monitor of that name.
  void Resolve(ServiceRef& ref);
  /// Adds a stopped monitor of the name in `ref` ("WebMonitor Of shop") at the end of the list.
  void Add(ServiceRef& ref);
  void Remove(ServiceRef& ref);
  [[nodiscard]] int Count();
  /// `index` counts from 1, in the order in which the monitors were added.
  [[nodiscard]] std::shared_ptr<MonitorItem> Item(int index);
};

class MonitorTypeList : public EngineObject {
 public:
  static constexpr std::string_view ComponentId = "{1B2D03AA-C28B-11D3-9CCC-00A0246E266E}";
  explicit MonitorTypeList(const EngineObject& origin) : EngineObject(origin) {}
  [[nodiscard]] int Count();
  /// `index` counts from 1.
  [[nodiscard]] std::shared_ptr<MonitorType> Item(int index);
};

class MonitorType : public EngineObject {
 public:
  MonitorType(const EngineObject& origin, std::string name) : EngineObject(origin), m_name(std::move(name)) {}
  [[nodiscard]] std::string Name();

 private:
  std::string m_name;
};

/// What `ServiceRoot::GetComponent` gives; each kind names its `ComponentId`. Never empty.
using Component = std::variant<std::shared_ptr<ServiceStore>, std::shared_ptr<MonitorList>,
                               std::shared_ptr<MonitorTypeList>>;

class ServiceRoot : public EngineObject {
 public:
  explicit ServiceRoot(const EngineObject& origin) : EngineObject(origin) {}
  /// Use ComponentOf below for the typed object.
  [[nodiscard]] Component GetComponent(std::string_view id, ServiceRef& ref);
};

/// Whether the console has a page for a monitor's type.
inline constexpr int KindWithPage = 0;
inline constexpr int KindWithoutPage = 1;

/// One monitor. Stays valid while it is held; calls throw `NotFound` once the monitor has been removed.
class MonitorItem : public EngineObject {
 public:
  MonitorItem(const EngineObject& origin, MonitorId id) : EngineObject(origin), m_id(id) {}
  /// The full name.
  [[nodiscard]] std::string Name();
  [[nodiscard]] std::string TypeName();
  /// `KindWithPage` or `KindWithoutPage`.
  [[nodiscard]] int Kind();
  /// Empty text for a key that was never set.
  [[nodiscard]] std::string GetAttr(std::string_view key);
  /// `Status` starts ("Enable") or stops the monitor; everything else takes effect at its next check.
  void SetAttr(std::string_view key, std::string_view value);
  [[nodiscard]] std::shared_ptr<MonitorRunner> Runner();

  /// What is known of the monitor now; none of its operations, so no observer is called.
  [[nodiscard]] MonitorPtr Record() const { return m_port.Get(m_id); }

 private:
  friend class MonitorRunner;
  MonitorId m_id;
};

/// Acts once, on demand. Each call may replace `item`; what comes back in it is the current one. Negative
/// results are failures of the check or notification; a call that could not be made throws.
class MonitorRunner : public EngineObject {
 public:
  explicit MonitorRunner(const EngineObject& origin) : EngineObject(origin) {}
  /// Prepares a new monitor.
  void Init(std::shared_ptr<MonitorItem>& item);
  /// Runs one check and waits for its end.
  [[nodiscard]] std::int32_t Monitor(std::shared_ptr<MonitorItem>& item);
  /// Sends one notification, as the item's stored attributes say.
  [[nodiscard]] std::int32_t Notify(std::shared_ptr<MonitorItem>& item);
  /// Why the last call gave its result, for people.
  [[nodiscard]] const std::string& Reason() const { return m_reason; }

 private:
  [[nodiscard]] std::int32_t Finish(std::shared_ptr<MonitorItem>& item, Outcome outcome);
  void AnnounceRun(std::string_view operation, const MonitorItem& item) const;
  void Replace(std::shared_ptr<MonitorItem>& item, MonitorId by) const;

  std::string m_reason;
};

/// Makes the objects that the console creates directly. Making one calls nothing; the first call on it
/// connects. A new `ServiceRef` with only a monitor name, given to a new `MonitorList`, finds that monitor.
class EngineFactory : public EngineObject {
 public:
  /// `observer` may be null.
  explicit EngineFactory(Port& port, CallObserver* observer = nullptr) : EngineObject(port, observer) {}
  [[nodiscard]] std::shared_ptr<ServiceConfig> NewServiceConfig();
  [[nodiscard]] std::shared_ptr<ControlGate> NewControlGate();
  [[nodiscard]] std::shared_ptr<ServiceRef> NewServiceRef();
  [[nodiscard]] std::shared_ptr<MonitorList> NewMonitorList();

  /// Fetches a page through the engine.
  [[nodiscard]] std::unique_ptr<PageFetch> Fetch(const std::string& url, std::chrono::milliseconds limit);

  // As the port has them; none of the objects' operations, so no observer is called.

  [[nodiscard]] std::unique_ptr<StatusQuery> QueryStatus() { return m_port.QueryStatus(); }
  [[nodiscard]] MonitorSnapshot Snapshot() { return m_port.Snapshot(); }
  void OnUpdate(std::function<void()> callback) { m_port.OnUpdate(std::move(callback)); }
  /// The monitor as it is known now, without asking the engine; null if none of that name is.
  [[nodiscard]] MonitorPtr Look(std::string_view fullName);
};

/// The component `T` of a root, by the id that `T` carries. Never empty.
template <class T>
[[nodiscard]] std::shared_ptr<T> ComponentOf(ServiceRoot& root, ServiceRef& ref) {
  return std::get<std::shared_ptr<T>>(root.GetComponent(T::ComponentId, ref));
}

}  // namespace norvane::console::engine
