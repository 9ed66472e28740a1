#include "tests/support/FakeEngine.h"

#include <algorithm>

#include "console/engine/Limits.h"
#include "console/engine/MonitorKeys.h"
#include "platform/Ascii.h"

namespace norvane::tests {

namespace ce = console::engine;
using ce::EngineError;
using ce::EngineErrorCode;

struct FakeEngine::World {
  int instance = 1;  ///< 0 when no engine answers
  int lastInstance = 1;
  std::vector<std::shared_ptr<FakeMonitor>> monitors;
  std::map<std::string, std::shared_ptr<FakeMonitor>, std::less<>> byName;
  std::map<std::string, std::string, std::less<>> config = {{"ControlPass", "fake control pass"}};
  std::vector<std::string> types = {std::string(ce::TypeWeb), std::string(ce::TypePop3),
                                    std::string(ce::TypeSmtp)};
  std::map<std::string, std::vector<FakeMonitor>, std::less<>> files;
  std::string servedFile;

  const std::shared_ptr<FakeMonitor>& Put(FakeMonitor monitor);
  [[nodiscard]] std::shared_ptr<FakeMonitor> Find(std::string_view name) const;
  void Remove(std::string_view name);
};

namespace {
[[noreturn]] void Fail(EngineErrorCode code, const std::string& why) {
  throw EngineError(code, why);
}

std::string Quoted(std::string_view text) {
  return '"' + std::string(text) + '"';
}

std::string TypeOf(std::string_view fullName) {
  return std::string(fullName.substr(0, fullName.find(ce::NameSeparator)));
}

void CheckName(std::string_view name, const std::vector<std::string>& types) {
  const auto separator = name.find(ce::NameSeparator);
  const bool formed =
      separator != std::string_view::npos && separator + ce::NameSeparator.size() < name.size();
  const bool printable = std::none_of(name.begin(), name.end(), &platform::IsAsciiControl);
  if (!formed || !printable || name.size() > ce::MaxNameSize ||
      std::count(types.begin(), types.end(), TypeOf(name)) == 0)
    Fail(EngineErrorCode::Invalid, "not a monitor's name: " + std::string(name.substr(0, 80)));
}

std::map<std::string, std::string, std::less<>> NewMonitorAttributes() {
  return {ce::NewMonitorValues.begin(), ce::NewMonitorValues.end()};
}

std::string Lookup(const std::map<std::string, std::string, std::less<>>& values, std::string_view key) {
  const auto found = values.find(key);
  return found == values.end() ? std::string() : found->second;
}
}  // namespace

const std::shared_ptr<FakeMonitor>& FakeEngine::World::Put(FakeMonitor monitor) {
  monitors.push_back(std::make_shared<FakeMonitor>(std::move(monitor)));
  byName[monitors.back()->name] = monitors.back();
  return monitors.back();
}

std::shared_ptr<FakeMonitor> FakeEngine::World::Find(std::string_view name) const {
  const auto found = byName.find(name);
  if (found == byName.end()) Fail(EngineErrorCode::NotFound, "no monitor of this name: " + std::string(name));
  return found->second;
}

void FakeEngine::World::Remove(std::string_view name) {
  const auto monitor = Find(name);
  monitor->removed = true;
  monitors.erase(std::find(monitors.begin(), monitors.end(), monitor));
  byName.erase(monitor->name);
}

class FakeEngine::Config : public ce::ServiceConfig {
 public:
  explicit Config(FakeEngine& engine) : m_engine(engine) {}
  void SetService(std::string_view name) override {
    m_engine.Begin("SetService", Quoted(name));
    if (name != ce::ServiceName) Fail(EngineErrorCode::Invalid, "no such service: " + std::string(name));
    m_named = true;
  }
  void SetValue(std::string_view key, std::string_view value) override {
    m_engine.Begin("SetValue", Quoted(key) + ", " + Quoted(value));
    CheckNamed();
    m_held[std::string(key)] = value;
  }
  void Commit() override {
    m_engine.Call("Commit");
    CheckNamed();
    const auto values = std::exchange(m_held, {});
    if (values.count(std::string(ce::service::ControlPass)) != 0)
      Fail(EngineErrorCode::Invalid, "ControlPass cannot be set");
    for (const auto& [key, value] : values)
      m_engine.ConfigValues()[key] = value;
  }
  std::string GetValue(std::string_view key) override {
    m_engine.Call("GetValue", Quoted(key));
    CheckNamed();
    return Lookup(m_engine.ConfigValues(), key);
  }

 private:
  void CheckNamed() const {
    if (!m_named) Fail(EngineErrorCode::Invalid, "SetService comes first");
  }
  FakeEngine& m_engine;
  bool m_named = false;
  std::map<std::string, std::string> m_held;
};

class FakeEngine::Gate : public ce::ControlGate {
 public:
  explicit Gate(FakeEngine& engine) : m_engine(engine) {}
  void Open(std::string_view controlPass) override {
    m_engine.Call("Open", Quoted(controlPass));
    if (controlPass != Lookup(m_engine.ConfigValues(), ce::service::ControlPass))
      Fail(EngineErrorCode::Refused, "the control pass is wrong");
    m_engine.OpenGate();
  }

 private:
  FakeEngine& m_engine;
};

class FakeEngine::Runner : public ce::MonitorRunner {
 public:
  explicit Runner(FakeEngine& engine) : m_engine(engine) {}
  void Init(std::shared_ptr<ce::MonitorItem>& item) override { Run("Init", item, m_engine.initAnswer); }
  std::int32_t Monitor(std::shared_ptr<ce::MonitorItem>& item) override {
    return Run("Monitor", item, m_engine.monitorAnswer);
  }
  std::int32_t Notify(std::shared_ptr<ce::MonitorItem>& item) override {
    return Run("Notify", item, m_engine.notifyAnswer);
  }

 private:
  std::int32_t Run(std::string_view operation, std::shared_ptr<ce::MonitorItem>& item,
                   const RunnerAnswer& answer);
  FakeEngine& m_engine;
};

class FakeEngine::Item : public ce::MonitorItem {
 public:
  Item(FakeEngine& engine, std::shared_ptr<FakeMonitor> monitor)
      : m_engine(engine), m_monitor(std::move(monitor)) {}
  std::string Name() override { return Held("Name").name; }
  std::string TypeName() override { return TypeOf(Held("TypeName").name); }
  int Kind() override { return Held("Kind").kind; }
  std::string GetAttr(std::string_view key) override {
    return Lookup(Held("GetAttr", Quoted(key)).attributes, key);
  }
  void SetAttr(std::string_view key, std::string_view value) override {
    m_engine.GatedCall("SetAttr", Quoted(key) + ", " + Quoted(value));
    CheckHeld();
    if (key.empty() || key.size() > ce::MaxKeySize || value.size() > ce::MaxValueSize)
      Fail(EngineErrorCode::Invalid, "the key or the value is too long, or the key is empty");
    m_monitor->attributes[std::string(key)] = value;
  }
  std::shared_ptr<ce::MonitorRunner> Runner() override {
    Held("Runner");
    return std::make_shared<FakeEngine::Runner>(m_engine);
  }
  void CheckHeld() const {
    if (m_monitor->removed) Fail(EngineErrorCode::NotFound, "the monitor does not exist");
  }
  [[nodiscard]] const std::string& FullName() const { return m_monitor->name; }

 private:
  const FakeMonitor& Held(std::string_view operation, const std::string& arguments = {}) {
    m_engine.Call(operation, arguments);
    CheckHeld();
    return *m_monitor;
  }
  FakeEngine& m_engine;
  std::shared_ptr<FakeMonitor> m_monitor;
};

std::int32_t FakeEngine::Runner::Run(std::string_view operation, std::shared_ptr<ce::MonitorItem>& item,
                                     const RunnerAnswer& answer) {
  const auto* own = dynamic_cast<FakeEngine::Item*>(item.get());
  m_engine.GatedCall(operation, Quoted(own != nullptr ? own->FullName() : std::string()));
  if (own == nullptr) Fail(EngineErrorCode::Invalid, "no item of this engine was given");
  own->CheckHeld();
  if (!answer.replaceBy.empty())
    item = std::make_shared<FakeEngine::Item>(m_engine, m_engine.m_world->Find(answer.replaceBy));
  return answer.result;
}

class FakeEngine::Type : public ce::MonitorType {
 public:
  Type(FakeEngine& engine, std::string name) : m_engine(engine), m_name(std::move(name)) {}
  std::string Name() override {
    m_engine.Call("MonitorType.Name");
    return m_name;
  }

 private:
  FakeEngine& m_engine;
  std::string m_name;
};

class FakeEngine::TypeList : public ce::MonitorTypeList {
 public:
  explicit TypeList(FakeEngine& engine) : m_engine(engine) {}
  int Count() override {
    m_engine.Call("MonitorTypeList.Count");
    return static_cast<int>(m_engine.Types().size());
  }
  std::shared_ptr<ce::MonitorType> Item(int index) override {
    m_engine.Call("MonitorTypeList.Item", std::to_string(index));
    const auto& types = m_engine.Types();
    if (index < 1 || static_cast<std::size_t>(index) > types.size())
      Fail(EngineErrorCode::NotFound, "no type of this number");
    return std::make_shared<Type>(m_engine, types[static_cast<std::size_t>(index) - 1]);
  }

 private:
  FakeEngine& m_engine;
};

class FakeEngine::Store : public ce::ServiceStore {
 public:
  explicit Store(FakeEngine& engine) : m_engine(engine) {}
  void Load(std::string_view path) override {
    m_engine.Call("Load", Quoted(path));
    if (path == m_engine.ServedFile()) return;
    const auto file = m_engine.Files().find(path);
    if (file == m_engine.Files().end()) Fail(EngineErrorCode::NotFound, "no such file: " + std::string(path));
    for (const auto& name : m_engine.Names())
      m_engine.Drop(name);
    for (const auto& monitor : file->second)
      m_engine.m_world->Put(monitor);
    m_engine.ServedFile() = path;
  }
  void Save(std::string_view path) override {
    m_engine.GatedCall("Save", Quoted(path));
    auto& file = m_engine.Files()[std::string(path)];
    file.clear();
    for (const auto& monitor : m_engine.m_world->monitors)
      file.push_back(*monitor);
  }

 private:
  FakeEngine& m_engine;
};

class FakeEngine::Ref : public ce::ServiceRef {
 public:
  explicit Ref(FakeEngine& engine) : m_engine(engine) {}
  void SetMachine(std::string_view computerName) override {
    m_engine.Begin("SetMachine", Quoted(computerName));
    m_machine = computerName;
  }
  void SetClassId(std::string_view classId) override {
    m_engine.Begin("SetClassId", Quoted(classId));
    m_classId = classId;
  }
  std::shared_ptr<ce::ServiceRoot> GetRoot() override;
  void SetMonitorName(std::string_view fullName) override {
    m_engine.Begin("SetMonitorName", Quoted(fullName));
    m_name = fullName;
  }
  std::shared_ptr<ce::MonitorItem> GetMonitor() override {
    m_engine.Call("GetMonitor");
    if (m_found == nullptr) Fail(EngineErrorCode::NotFound, "the reference names no monitor yet");
    return std::make_shared<Item>(m_engine, m_found);
  }
  [[nodiscard]] const std::string& MonitorName() const { return m_name; }
  void SetFound(std::shared_ptr<FakeMonitor> monitor) { m_found = std::move(monitor); }
  static Ref& Of(ce::ServiceRef& ref) {
    auto* own = dynamic_cast<Ref*>(&ref);
    if (own == nullptr) Fail(EngineErrorCode::Invalid, "the reference is not of this engine");
    return *own;
  }

 private:
  FakeEngine& m_engine;
  std::string m_machine;
  std::string m_classId;
  std::string m_name;
  std::shared_ptr<FakeMonitor> m_found;
};

class FakeEngine::List : public ce::MonitorList {
 public:
  explicit List(FakeEngine& engine) : m_engine(engine) {}
  void Resolve(ce::ServiceRef& ref) override {
    auto& own = Ref::Of(ref);
    m_engine.Call("Resolve", Quoted(own.MonitorName()));
    own.SetFound(nullptr);
    own.SetFound(m_engine.m_world->Find(own.MonitorName()));
  }
  void Add(ce::ServiceRef& ref) override {
    const auto& name = Ref::Of(ref).MonitorName();
    m_engine.GatedCall("Add", Quoted(name));
    auto& world = *m_engine.m_world;
    CheckName(name, world.types);
    if (world.byName.count(name) != 0)
      Fail(EngineErrorCode::Exists, "a monitor of this name exists: " + name);
    if (world.monitors.size() >= ce::MaxMonitors) Fail(EngineErrorCode::Full, "the engine is full");
    world.Put({.name = name, .attributes = NewMonitorAttributes()});
  }
  void Remove(ce::ServiceRef& ref) override {
    const auto& name = Ref::Of(ref).MonitorName();
    m_engine.GatedCall("Remove", Quoted(name));
    m_engine.m_world->Remove(name);
  }
  int Count() override {
    m_engine.Call("Count");
    return static_cast<int>(m_engine.m_world->monitors.size());
  }
  std::shared_ptr<ce::MonitorItem> Item(int index) override {
    m_engine.Call("Item", std::to_string(index));
    const auto& monitors = m_engine.m_world->monitors;
    if (index < 1 || static_cast<std::size_t>(index) > monitors.size())
      Fail(EngineErrorCode::NotFound, "no monitor of this number");
    return std::make_shared<FakeEngine::Item>(m_engine, monitors[static_cast<std::size_t>(index) - 1]);
  }

 private:
  FakeEngine& m_engine;
};

class FakeEngine::Root : public ce::ServiceRoot {
 public:
  explicit Root(FakeEngine& engine) : m_engine(engine) {}
  std::shared_ptr<ce::Component> GetComponent(std::string_view id, ce::ServiceRef& ref) override {
    m_engine.Call("GetComponent", Quoted(id));
    Ref::Of(ref);
    if (id == ce::ServiceStore::ComponentId) return std::make_shared<Store>(m_engine);
    if (id == ce::MonitorList::ComponentId) return std::make_shared<List>(m_engine);
    if (id == ce::MonitorTypeList::ComponentId) return std::make_shared<TypeList>(m_engine);
    Fail(EngineErrorCode::NotFound, "no component of this id: " + std::string(id));
  }

 private:
  FakeEngine& m_engine;
};

std::shared_ptr<ce::ServiceRoot> FakeEngine::Ref::GetRoot() {
  m_engine.Call("GetRoot");
  if (m_machine.empty() || m_classId != ce::RootClassId)
    Fail(EngineErrorCode::Invalid, "the root needs a machine and the service's class id");
  return std::make_shared<Root>(m_engine);
}

FakeEngine::FakeEngine() : FakeEngine(std::make_shared<World>()) {}
FakeEngine::FakeEngine(std::shared_ptr<World> world) : m_world(std::move(world)) {}

std::unique_ptr<FakeEngine> FakeEngine::AnotherConsole() const {
  return std::unique_ptr<FakeEngine>(new FakeEngine(m_world));
}

std::shared_ptr<ce::ServiceConfig> FakeEngine::NewServiceConfig() {
  return std::make_shared<Config>(*this);
}
std::shared_ptr<ce::ControlGate> FakeEngine::NewControlGate() {
  return std::make_shared<Gate>(*this);
}
std::shared_ptr<ce::ServiceRef> FakeEngine::NewServiceRef() {
  return std::make_shared<Ref>(*this);
}
std::shared_ptr<ce::MonitorList> FakeEngine::NewMonitorList() {
  return std::make_shared<List>(*this);
}

FakeMonitor& FakeEngine::Place(std::string_view fullName,
                               std::map<std::string, std::string, std::less<>> attributes, int kind) {
  return *m_world->Put({.name = std::string(fullName), .attributes = std::move(attributes), .kind = kind});
}

void FakeEngine::Drop(std::string_view fullName) {
  m_world->Remove(fullName);
}
FakeMonitor& FakeEngine::At(std::string_view fullName) {
  return *m_world->Find(fullName);
}
std::map<std::string, std::string, std::less<>>& FakeEngine::ConfigValues() {
  return m_world->config;
}
std::vector<std::string>& FakeEngine::Types() {
  return m_world->types;
}
std::map<std::string, std::vector<FakeMonitor>, std::less<>>& FakeEngine::Files() {
  return m_world->files;
}
std::string& FakeEngine::ServedFile() {
  return m_world->servedFile;
}

std::vector<std::string> FakeEngine::Names() const {
  std::vector<std::string> names;
  for (const auto& monitor : m_world->monitors)
    names.push_back(monitor->name);
  return names;
}

void FakeEngine::FailOnce(std::string_view operation, EngineError error) {
  m_failures.insert_or_assign(std::string(operation), Failure{std::move(error), true});
}

void FakeEngine::FailAlways(std::string_view operation, EngineError error) {
  m_failures.insert_or_assign(std::string(operation), Failure{std::move(error), false});
}

void FakeEngine::Mend(std::string_view operation) {
  m_failures.erase(std::string(operation));
}

void FakeEngine::During(std::string_view operation, std::function<void()> hook) {
  m_hooks.insert_or_assign(std::string(operation), std::move(hook));
}

void FakeEngine::EndEngine() {
  m_world->instance = 0;
}
void FakeEngine::RestartEngine() {
  m_world->instance = ++m_world->lastInstance;
}

void FakeEngine::Begin(std::string_view operation, const std::string& arguments) {
  m_calls.push_back(arguments.empty() ? std::string(operation)
                                      : std::string(operation) + "(" + arguments + ")");
  if (const auto hook = m_hooks.find(operation); hook != m_hooks.end()) {
    const auto copy = hook->second;  // it may set another
    copy();
  }
  if (const auto found = m_failures.find(operation); found != m_failures.end()) {
    const Failure failure = found->second;
    if (failure.once) m_failures.erase(found);
    throw EngineError(failure.error);
  }
}

void FakeEngine::Call(std::string_view operation, const std::string& arguments) {
  Begin(operation, arguments);
  if (m_world->instance == 0) Fail(EngineErrorCode::Gone, "no engine answers");
  if (m_instance == 0) m_instance = m_world->instance;
  if (m_instance != m_world->instance) Fail(EngineErrorCode::Gone, "the engine was restarted");
}

void FakeEngine::GatedCall(std::string_view operation, const std::string& arguments) {
  Call(operation, arguments);
  if (!m_gateOpen) Fail(EngineErrorCode::Refused, "the control gate is closed");
}

}  // namespace norvane::tests
