#include "engine/model/MonitorTable.h"

#include "console/engine/EngineError.h"
#include "console/engine/Limits.h"
#include "engine/model/FullName.h"

namespace norvane::engine {

namespace ce = console::engine;
using ce::EngineError;
using ce::EngineErrorCode;

namespace {
constexpr std::uint64_t FirstOf(std::uint32_t generation) {
  return std::uint64_t{generation} << 32;
}

void RequireName(std::string_view name, MonitorTypes types) {
  RequireFullName(name);
  if (FindType(types, TypeNameOf(name)) != nullptr) return;
  std::string known;
  for (const auto& type : types)
    known.append(known.empty() ? "" : ", ").append(type.name);
  RefuseName(name, "unknown monitor type, known are " + known);
}
}  // namespace

bool IsEnabled(const Attributes& attributes) {
  return attributes.Get(ce::keys::Status) == ce::StatusEnable;
}

bool Monitor::Running() const {
  return IsEnabled(*attributes);
}

MonitorTable::MonitorTable(std::uint32_t generation, MonitorTypes types)
    : m_types(types), m_generation(generation), m_lastChange(FirstOf(generation)) {}

const Monitor* MonitorTable::Find(MonitorId id) const {
  const auto found = m_monitors.find(id);
  return found == m_monitors.end() ? nullptr : &found->second;
}

const Monitor* MonitorTable::Find(std::string_view fullName) const {
  const auto found = m_byName.find(fullName);
  return found == m_byName.end() ? nullptr : found->second;
}

Monitor& MonitorTable::Get(MonitorId id) {
  const auto found = m_monitors.find(id);
  if (found == m_monitors.end()) throw EngineError(EngineErrorCode::NotFound, "no such monitor");
  return found->second;
}

void MonitorTable::Touch(Monitor& monitor, bool isResult) {
  m_byChange.erase(monitor.change);
  monitor.change = ++m_lastChange;
  m_byChange.emplace_hint(m_byChange.end(), monitor.change, &monitor);
  if (isResult) return;
  m_bySettingChange.erase(monitor.settingChange);
  monitor.settingChange = monitor.change;
  m_bySettingChange.emplace_hint(m_bySettingChange.end(), monitor.change, &monitor);
}

void MonitorTable::RequireNew(std::string_view fullName) const {
  RequireName(fullName, m_types);
  if (Find(fullName) != nullptr)
    throw EngineError(EngineErrorCode::Exists, "monitor already exists: " + std::string(fullName));
}

const Monitor& MonitorTable::Add(std::string_view fullName, Attributes attributes, std::uint32_t number) {
  RequireNew(fullName);
  if (Count() >= ce::MaxMonitors)
    throw EngineError(EngineErrorCode::Full,
                      "too many monitors, the limit is " + std::to_string(ce::MaxMonitors));
  m_lastNumber = number != 0 ? std::max(number, m_lastNumber) : m_lastNumber + 1;
  const MonitorId id = FirstOf(m_generation) | (number != 0 ? number : m_lastNumber);
  const auto [place, isNew] = m_monitors.try_emplace(id);
  if (!isNew) throw EngineError(EngineErrorCode::Exists, "duplicate monitor number");
  Monitor& monitor = place->second;
  monitor.id = id;
  monitor.name = fullName;
  monitor.attributes = std::make_shared<const Attributes>(std::move(attributes));
  m_byName.emplace(monitor.name, &monitor);
  Touch(monitor);
  return monitor;
}

void MonitorTable::Remove(MonitorId id) {
  Monitor& monitor = Get(id);
  m_byName.erase(monitor.name);
  m_byChange.erase(monitor.change);
  m_bySettingChange.erase(monitor.settingChange);
  m_monitors.erase(id);
  m_removed.emplace_hint(m_removed.end(), ++m_lastChange, id);
}

void MonitorTable::Set(MonitorId id, std::string_view key, std::string value) {
  Monitor& monitor = Get(id);
  if (monitor.attributes->Get(key) == value) return;
  auto changed = std::make_shared<Attributes>(*monitor.attributes);
  changed->Set(key, std::move(value));
  monitor.attributes = std::move(changed);
  Touch(monitor, key == ce::keys::Result);
}

void MonitorTable::Replace(MonitorId id, std::shared_ptr<const Attributes> attributes) {
  Monitor& monitor = Get(id);
  monitor.attributes = std::move(attributes);
  Touch(monitor);
}

void MonitorTable::NoteCheck(MonitorId id, const LastCheck& lastCheck) {
  const auto found = m_monitors.find(id);
  if (found == m_monitors.end()) return;
  const bool isAsBefore = found->second.lastCheck.since == lastCheck.since;
  found->second.lastCheck = lastCheck;
  if (!isAsBefore) Touch(found->second, true);
}

void MonitorTable::ExpectCheck(MonitorId id, std::chrono::steady_clock::time_point overdueAt) {
  const auto found = m_monitors.find(id);
  if (found != m_monitors.end()) found->second.overdueAt = overdueAt;
}

const Monitor* MonitorTable::NextIn(const ByChange& order, std::uint64_t change) {
  const auto next = order.upper_bound(change);
  return next == order.end() ? nullptr : next->second;
}

const Monitor* MonitorTable::NextChanged(std::uint64_t change) const {
  return NextIn(m_byChange, change);
}

const Monitor* MonitorTable::NextSettingChanged(std::uint64_t change) const {
  return NextIn(m_bySettingChange, change);
}

std::vector<MonitorId> MonitorTable::RemovedSince(std::uint64_t change) const {
  std::vector<MonitorId> ids;
  for (auto next = m_removed.upper_bound(change); next != m_removed.end(); ++next)
    ids.push_back(next->second);
  return ids;
}

}  // namespace norvane::engine
