#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "console/engine/MonitorKeys.h"

/// The monitor engine as the console sees it. Text is UTF-8. Every operation may throw EngineError; calls
/// block until the engine has answered. All objects belong to the thread that called the factory.
///
/// A read sees every write that this process has made before it.
namespace norvane::console::engine {

class MonitorItem;
class ServiceRoot;

/// The class that a `ServiceRef` must name before `GetRoot`.
inline constexpr std::string_view RootClassId = "{1B2D038B-C28B-11D3-9CCC-00A0246E266E}";

/// Service-wide values. `SetService` comes first and takes ServiceName only.
class ServiceConfig {
 public:
  virtual ~ServiceConfig() = default;
  virtual void SetService(std::string_view name) = 0;
  /// Held back until `Commit`.
  virtual void SetValue(std::string_view key, std::string_view value) = 0;
  /// Ends a run of `SetValue`: the values are kept across restarts of the engine once this returns.
  virtual void Commit() = 0;
  /// The committed value; empty text for a key that was never set.
  [[nodiscard]] virtual std::string GetValue(std::string_view key) = 0;
};

/// Until a process has opened the gate with the engine's "ControlPass", its writes, saves and runners are
/// refused.
class ControlGate {
 public:
  virtual ~ControlGate() = default;
  virtual void Open(std::string_view controlPass) = 0;
};

/// Names something in the engine: first the machine and class for `GetRoot`, then a monitor.
class ServiceRef {
 public:
  virtual ~ServiceRef() = default;
  virtual void SetMachine(std::string_view computerName) = 0;
  virtual void SetClassId(std::string_view classId) = 0;
  /// Needs machine and class id.
  [[nodiscard]] virtual std::shared_ptr<ServiceRoot> GetRoot() = 0;
  virtual void SetMonitorName(std::string_view fullName) = 0;
  /// The monitor that the last `MonitorList::Resolve` with this reference found.
  [[nodiscard]] virtual std::shared_ptr<MonitorItem> GetMonitor() = 0;
};

/// What `ServiceRoot::GetComponent` gives; each kind names its `ComponentId`.
class Component {
 public:
  virtual ~Component() = default;
};

class ServiceRoot {
 public:
  virtual ~ServiceRoot() = default;
  /// Never empty. Use ComponentOf below for the typed object.
  [[nodiscard]] virtual std::shared_ptr<Component> GetComponent(std::string_view id, ServiceRef& ref) = 0;
};

/// The data file. `Load` needs no open gate, since it comes first at the console's start.
class ServiceStore : public Component {
 public:
  static constexpr std::string_view ComponentId = "{24ADEE03-682A-11D3-9CA3-00A0246E266E}";
  /// Loading the file that the engine already serves changes nothing, unless somebody put another in its
  /// place; another file replaces all monitors. After a failure all monitors are as they were.
  virtual void Load(std::string_view path) = 0;
  /// The file holds either its old or the new state, whatever happens meanwhile.
  virtual void Save(std::string_view path) = 0;
};

class MonitorList : public Component {
 public:
  static constexpr std::string_view ComponentId = "{722FC7DE-64E6-11D3-9CA3-00A0246E266E}";
  /// Finds the monitor that `ref` names. Throws `Gone` if the engine restarted since connecting, `NotFound`
  /// if it has no monitor of that name.
  virtual void Resolve(ServiceRef& ref) = 0;
  /// A stopped monitor of the name in `ref` ("WebMonitor Of shop") now stands at the end of the list.
  virtual void Add(ServiceRef& ref) = 0;
  virtual void Remove(ServiceRef& ref) = 0;
  [[nodiscard]] virtual int Count() = 0;
  /// `index` counts from 1, in the order in which the monitors were added.
  [[nodiscard]] virtual std::shared_ptr<MonitorItem> Item(int index) = 0;
};

/// Acts once, on demand. Each call may replace `item`; what comes back in it is the current one. Negative
/// results are failures of the check or notification; a call that could not be made throws.
class MonitorRunner {
 public:
  virtual ~MonitorRunner() = default;
  /// Prepares a new monitor.
  virtual void Init(std::shared_ptr<MonitorItem>& item) = 0;
  /// Runs one check and waits for its end.
  [[nodiscard]] virtual std::int32_t Monitor(std::shared_ptr<MonitorItem>& item) = 0;
  /// Sends one notification, as the item's stored attributes say.
  [[nodiscard]] virtual std::int32_t Notify(std::shared_ptr<MonitorItem>& item) = 0;
};

/// One monitor. Stays valid while it is held; calls throw `NotFound` once the monitor has been removed.
class MonitorItem {
 public:
  virtual ~MonitorItem() = default;
  /// The full name.
  [[nodiscard]] virtual std::string Name() = 0;
  [[nodiscard]] virtual std::string TypeName() = 0;
  /// 1 means that the console has no page for it.
  [[nodiscard]] virtual int Kind() = 0;
  /// Empty text for a key that was never set.
  [[nodiscard]] virtual std::string GetAttr(std::string_view key) = 0;
  /// `Status` starts ("Enable") or stops the monitor; all else takes effect at its next check.
  virtual void SetAttr(std::string_view key, std::string_view value) = 0;
  [[nodiscard]] virtual std::shared_ptr<MonitorRunner> Runner() = 0;
};

class MonitorType {
 public:
  virtual ~MonitorType() = default;
  [[nodiscard]] virtual std::string Name() = 0;
};

class MonitorTypeList : public Component {
 public:
  static constexpr std::string_view ComponentId = "{1B2D03AA-C28B-11D3-9CCC-00A0246E266E}";
  [[nodiscard]] virtual int Count() = 0;
  /// `index` counts from 1.
  [[nodiscard]] virtual std::shared_ptr<MonitorType> Item(int index) = 0;
};

/// Makes the objects that the console creates directly. Making one calls nothing; the first call on it
/// connects. A new `ServiceRef` with only a monitor name, given to a new `MonitorList`, finds that monitor.
class EngineFactory {
 public:
  virtual ~EngineFactory() = default;
  [[nodiscard]] virtual std::shared_ptr<ServiceConfig> NewServiceConfig() = 0;
  [[nodiscard]] virtual std::shared_ptr<ControlGate> NewControlGate() = 0;
  [[nodiscard]] virtual std::shared_ptr<ServiceRef> NewServiceRef() = 0;
  [[nodiscard]] virtual std::shared_ptr<MonitorList> NewMonitorList() = 0;
};

/// Opens the gate for this process, with the pass as the engine gives it out.
inline void OpenGate(EngineFactory& engine) {
  const auto config = engine.NewServiceConfig();
  config->SetService(ServiceName);
  engine.NewControlGate()->Open(config->GetValue(service::ControlPass));
}

/// The component `T` of a root, by the id that `T` carries. Empty if the engine gave another kind of object.
template <class T>
[[nodiscard]] std::shared_ptr<T> ComponentOf(ServiceRoot& root, ServiceRef& ref) {
  return std::dynamic_pointer_cast<T>(root.GetComponent(T::ComponentId, ref));
}

}  // namespace norvane::console::engine
