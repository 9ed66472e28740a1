#include "console/engine/Engine.h"

#include <utility>

#include "console/engine/EngineError.h"

namespace norvane::console::engine {

// ServiceConfig and ControlGate

void ServiceConfig::SetService(std::string_view name) {
  Announce("SetService", name);
  if (name != ServiceName)
    throw EngineError(EngineErrorCode::Invalid, "no such service: " + std::string(name));
  m_named = true;
}

void ServiceConfig::SetValue(std::string_view key, std::string_view value) {
  Announce("SetValue", key, value);
  CheckNamed();
  m_uncommitted[std::string(key)] = value;
}

void ServiceConfig::Commit() {
  Announce("Commit");
  CheckNamed();
  OpenGate(m_port);  // the user of this object opens its gate afterwards, with the pass that it reads here
  m_port.CommitServiceValues(std::exchange(m_uncommitted, {}));
}

std::string ServiceConfig::GetValue(std::string_view key) {
  Announce("GetValue", key);
  CheckNamed();
  return m_port.ServiceValue(key);
}

void ServiceConfig::CheckNamed() const {
  if (!m_named) throw EngineError(EngineErrorCode::Invalid, "SetService comes first");
}

void ControlGate::Open(std::string_view controlPass) {
  Announce("Open", controlPass);
  m_port.OpenGate(controlPass);
}

// ServiceRef, ServiceRoot, ServiceStore

void ServiceRef::SetMachine(std::string_view computerName) {
  Announce("SetMachine", computerName);
  m_machine = computerName;
}

void ServiceRef::SetClassId(std::string_view classId) {
  Announce("SetClassId", classId);
  m_classId = classId;
}

std::shared_ptr<ServiceRoot> ServiceRef::GetRoot() {
  Announce("GetRoot");
  static_cast<void>(m_port.Info());  // connects
  if (m_machine.empty() || m_classId != RootClassId)
    throw EngineError(EngineErrorCode::Invalid, "the root needs a machine and the service's class id");
  return std::make_shared<ServiceRoot>(*this);
}

void ServiceRef::SetMonitorName(std::string_view fullName) {
  Announce("SetMonitorName", fullName);
  m_monitorName = fullName;
}

std::shared_ptr<MonitorItem> ServiceRef::GetMonitor() {
  Announce("GetMonitor");
  static_cast<void>(m_port.Info());
  if (!m_resolved.has_value())
    throw EngineError(EngineErrorCode::NotFound, "the reference was not resolved to a monitor");
  return std::make_shared<MonitorItem>(*this, *m_resolved);
}

Component ServiceRoot::GetComponent(std::string_view id, ServiceRef& /*ref*/) {
  Announce("GetComponent", id);
  static_cast<void>(m_port.Info());
  if (id == ServiceStore::ComponentId) return std::make_shared<ServiceStore>(*this);
  if (id == MonitorList::ComponentId) return std::make_shared<MonitorList>(*this);
  if (id == MonitorTypeList::ComponentId) return std::make_shared<MonitorTypeList>(*this);
  throw EngineError(EngineErrorCode::NotFound, "no such component: " + std::string(id));
}

void ServiceStore::Load(std::string_view path) {
  Announce("Load", path);
  m_port.Load(path);
}

void ServiceStore::Save(std::string_view path) {
  Announce("Save", path);
  m_port.Save(path);
}

// Lists

void MonitorList::Resolve(ServiceRef& ref) {
  Announce("Resolve", ref.m_monitorName);
  ref.m_resolved.reset();
  ref.m_resolved = m_port.Find(ref.m_monitorName);
}

void MonitorList::Add(ServiceRef& ref) {
  Announce("Add", ref.m_monitorName);
  m_port.Add(ref.m_monitorName);
}

void MonitorList::Remove(ServiceRef& ref) {
  Announce("Remove", ref.m_monitorName);
  m_port.Remove(ref.m_monitorName);
}

int MonitorList::Count() {
  Announce("Count");
  return static_cast<int>(m_port.Count());
}

std::shared_ptr<MonitorItem> MonitorList::Item(int index) {
  Announce("Item", index);
  return std::make_shared<MonitorItem>(*this, m_port.IdAt(index));
}

int MonitorTypeList::Count() {
  Announce("MonitorTypeList.Count");
  return static_cast<int>(m_port.Info().monitorTypes.size());
}

std::shared_ptr<MonitorType> MonitorTypeList::Item(int index) {
  Announce("MonitorTypeList.Item", index);
  const auto& types = m_port.Info().monitorTypes;
  if (index < 1 || static_cast<std::size_t>(index) > types.size())
    throw EngineError(EngineErrorCode::NotFound, "no monitor type number " + std::to_string(index));
  return std::make_shared<MonitorType>(*this, types[static_cast<std::size_t>(index) - 1].name);
}

std::string MonitorType::Name() {
  Announce("MonitorType.Name");
  return m_name;
}

// MonitorItem and MonitorRunner

std::string MonitorItem::Name() {
  Announce("Name");
  return m_port.Get(m_id)->name;
}

std::string MonitorItem::TypeName() {
  Announce("TypeName");
  return std::string(m_port.Get(m_id)->TypeName());
}

int MonitorItem::Kind() {
  Announce("Kind");
  return m_port.Get(m_id)->hasPage ? KindWithPage : KindWithoutPage;
}

std::string MonitorItem::GetAttr(std::string_view key) {
  Announce("GetAttr", key);
  return std::string(m_port.Get(m_id)->Get(key));
}

void MonitorItem::SetAttr(std::string_view key, std::string_view value) {
  Announce("SetAttr", key, value);
  m_port.SetAttribute(m_id, key, value);
}

std::shared_ptr<MonitorRunner> MonitorItem::Runner() {
  Announce("Runner");
  static_cast<void>(m_port.Get(m_id));
  return std::make_shared<MonitorRunner>(*this);
}

void MonitorRunner::AnnounceRun(std::string_view operation, const MonitorItem& item) const {
  if (m_observer != nullptr) Announce(operation, m_port.Get(item.m_id)->name);
}

void MonitorRunner::Replace(std::shared_ptr<MonitorItem>& item, MonitorId by) const {
  if (by != item->m_id) item = std::make_shared<MonitorItem>(*this, by);
}

void MonitorRunner::Init(std::shared_ptr<MonitorItem>& item) {
  AnnounceRun("Init", *item);
  Replace(item, m_port.Init(item->m_id));
}

std::int32_t MonitorRunner::Finish(std::shared_ptr<MonitorItem>& item, Outcome outcome) {
  Replace(item, outcome.monitor);
  m_reason = std::move(outcome.reason);
  return outcome.good ? 0 : -1;
}

std::int32_t MonitorRunner::Monitor(std::shared_ptr<MonitorItem>& item) {
  AnnounceRun("Monitor", *item);
  return Finish(item, m_port.Check(item->m_id));
}

std::int32_t MonitorRunner::Notify(std::shared_ptr<MonitorItem>& item) {
  AnnounceRun("Notify", *item);
  return Finish(item, m_port.Notify(item->m_id));
}

// EngineFactory

std::shared_ptr<ServiceConfig> EngineFactory::NewServiceConfig() {
  Announce("New ServiceConfig");
  return std::make_shared<ServiceConfig>(*this);
}
std::shared_ptr<ControlGate> EngineFactory::NewControlGate() {
  Announce("New ControlGate");
  return std::make_shared<ControlGate>(*this);
}
std::shared_ptr<ServiceRef> EngineFactory::NewServiceRef() {
  Announce("New ServiceRef");
  return std::make_shared<ServiceRef>(*this);
}
std::shared_ptr<MonitorList> EngineFactory::NewMonitorList() {
  Announce("New MonitorList");
  return std::make_shared<MonitorList>(*this);
}

std::unique_ptr<PageFetch> EngineFactory::Fetch(const std::string& url, std::chrono::milliseconds limit) {
  Announce("Fetch", url, static_cast<int>(limit.count()));
  return m_port.Fetch(url, limit);
}

MonitorPtr EngineFactory::Look(std::string_view fullName) {
  try {
    return m_port.Get(m_port.Find(fullName));
  } catch (const EngineError& error) {
    if (error.Code() != EngineErrorCode::NotFound) throw;
    return nullptr;
  }
}

}  // namespace norvane::console::engine
