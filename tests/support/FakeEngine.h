#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "console/engine/Engine.h"
#include "console/engine/EngineError.h"

namespace norvane::tests {

/// A monitor of the fake. Items hold it, so it outlives its removal.
struct FakeMonitor {
  std::string name;
  std::map<std::string, std::string, std::less<>> attributes;
  int kind = 0;
  bool removed = false;
};

/// An engine in memory that behaves as the contract says, and records every call in order. It is also the
/// console's connection to that engine: `AnotherConsole` gives a second connection to the same one, with its
/// own gate, record and failures. It must outlive the objects that it made.
///
/// Calls read as in the code: `SetAttr("Status", "Enable")`, `GetRoot`, `Item(1)`; `Resolve`, `Add` and
/// `Remove` show the name in their reference, `GetComponent` the id, a runner's calls the item's name. The
/// operations that two objects share are told apart by `MonitorTypeList.Count`, `MonitorTypeList.Item(1)`
/// and `MonitorType.Name`. `New...` is not recorded, as it calls nothing.
class FakeEngine : public console::engine::EngineFactory {
 public:
  FakeEngine();
  [[nodiscard]] std::unique_ptr<FakeEngine> AnotherConsole() const;

  std::shared_ptr<console::engine::ServiceConfig> NewServiceConfig() override;
  std::shared_ptr<console::engine::ControlGate> NewControlGate() override;
  std::shared_ptr<console::engine::ServiceRef> NewServiceRef() override;
  std::shared_ptr<console::engine::MonitorList> NewMonitorList() override;

  // What the engine holds; these neither record nor check.

  /// Puts a monitor at the end of the list, of any name and kind.
  FakeMonitor& Place(std::string_view fullName,
                     std::map<std::string, std::string, std::less<>> attributes = {}, int kind = 0);
  /// Takes it away behind the console's back. The name must exist; so for `At`.
  void Drop(std::string_view fullName);
  [[nodiscard]] FakeMonitor& At(std::string_view fullName);
  [[nodiscard]] std::vector<std::string> Names() const;
  /// Committed service-wide values; "ControlPass" opens the gate.
  [[nodiscard]] std::map<std::string, std::string, std::less<>>& ConfigValues();
  /// The types that MonitorTypeList offers: the three that an engine knows.
  [[nodiscard]] std::vector<std::string>& Types();
  /// Data files by path: the monitors in them. `Save` writes one, `Load` takes one.
  [[nodiscard]] std::map<std::string, std::vector<FakeMonitor>, std::less<>>& Files();
  /// The file whose `Load` changes nothing; the last one loaded.
  [[nodiscard]] std::string& ServedFile();
  void OpenGate() { m_gateOpen = true; }

  // What was called.

  [[nodiscard]] const std::vector<std::string>& Calls() const { return m_calls; }
  /// The calls so far; the record starts anew.
  [[nodiscard]] std::vector<std::string> TakeCalls() { return std::exchange(m_calls, {}); }

  // What shall go wrong. `operation` is the call's text up to the parenthesis: "SetAttr".

  void FailOnce(std::string_view operation, console::engine::EngineError error);
  void FailAlways(std::string_view operation, console::engine::EngineError error);
  /// Undoes both.
  void Mend(std::string_view operation);
  /// Runs inside every such call, after it was recorded and before it takes effect or fails.
  void During(std::string_view operation, std::function<void()> hook);
  /// No engine answers any more.
  void EndEngine();
  /// Another instance with the same monitors stands in the engine's place: consoles that were connected find
  /// theirs gone, new ones connect.
  void RestartEngine();

  /// What a runner's call gives.
  struct RunnerAnswer {
    std::int32_t result = 0;
    /// Full name of the monitor that the caller's item is replaced by; empty leaves the item alone.
    std::string replaceBy;
  };
  RunnerAnswer initAnswer;  ///< its result goes nowhere
  RunnerAnswer monitorAnswer;
  RunnerAnswer notifyAnswer;

 private:
  struct World;
  class Config;
  class Gate;
  class Ref;
  class Root;
  class Store;
  class List;
  class Item;
  class Runner;
  class TypeList;
  class Type;

  explicit FakeEngine(std::shared_ptr<World> world);
  /// Every call starts here: it is recorded, the hook runs, and what shall fail fails.
  void Begin(std::string_view operation, const std::string& arguments);
  /// The same for a call that reaches the engine, and so needs it to be the one that was connected to.
  void Call(std::string_view operation, const std::string& arguments = {});
  /// The same for a call that also needs the open gate.
  void GatedCall(std::string_view operation, const std::string& arguments = {});

  struct Failure {
    console::engine::EngineError error;
    bool once;
  };
  std::shared_ptr<World> m_world;
  int m_instance = 0;  ///< the one that answered first; 0 before
  bool m_gateOpen = false;
  std::vector<std::string> m_calls;
  std::map<std::string, Failure, std::less<>> m_failures;
  std::map<std::string, std::function<void()>, std::less<>> m_hooks;
};

}  // namespace norvane::tests
