#include "link/Mirror.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "console/engine/EngineError.h"
#include "link/Wire.h"

namespace norvane::link {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::engine::KnownKeys;
using console::engine::KnownPosition;
using console::engine::KnownValues;
using console::engine::MonitorId;
using console::engine::MonitorRecord;

namespace {
template <class Pointer>
bool ById(const Pointer* a, const Pointer* b) {
  return (*a)->id < (*b)->id;
}
}  // namespace

void Mirror::Begin(std::vector<std::string> wireKeys, std::vector<console::engine::MonitorTypeInfo> types) {
  m_wireKeys = std::move(wireKeys);
  m_types = std::move(types);
  m_sources.fill(static_cast<unsigned>(m_wireKeys.size()));
  m_unknown.clear();
  for (unsigned i = 0; i < m_wireKeys.size(); ++i) {
    if (const auto position = KnownPosition(m_wireKeys[i]))
      m_sources[*position] = i;
    else
      m_unknown.push_back(i);
  }
  m_next.reset();
}

Mirror::Record Mirror::Read(wire::Monitor::Reader from) const {
  auto record = std::make_shared<MonitorRecord>();
  record->id = from.getId();
  record->name = ToString(from.getName());
  record->hasPage = std::any_of(m_types.begin(), m_types.end(), [&](const auto& type) {
    return type.hasPage && type.name == record->TypeName();
  });
  const auto values = from.getValues();
  if (values.size() > m_wireKeys.size())
    throw EngineError(EngineErrorCode::Failed, "the engine sent more values than it has keys");
  KnownValues::Views known;
  for (std::size_t i = 0; i < known.size(); ++i)
    if (m_sources[i] < values.size()) known[i] = ToView(values[m_sources[i]]);
  record->known = KnownValues(known);
  for (const auto source : m_unknown)
    if (source < values.size()) record->others[m_wireKeys[source]] = ToString(values[source]);
  for (const auto pair : from.getOthers())
    record->others[ToString(pair.getKey())] = ToString(pair.getValue());
  const auto lastCheck = from.getLastCheck();
  record->checkedAt = ToTime(lastCheck.getAt());
  record->checkDuration = std::chrono::milliseconds(lastCheck.getDurationMs());
  record->since = ToTime(lastCheck.getSince());
  record->failuresInARow = lastCheck.getFailuresInARow();
  return record;
}

void Mirror::Table::Remove(capnp::List<std::uint64_t>::Reader ids) {
  std::unordered_set<std::uint64_t> removed;
  for (const auto id : ids)
    if (byId.count(id) != 0) removed.insert(id);
  if (removed.empty()) return;
  inOrder.erase(std::remove_if(inOrder.begin(), inOrder.end(),
                               [&](const Record* record) { return removed.count((*record)->id) != 0; }),
                inOrder.end());
  for (const auto id : removed) {
    const auto found = byId.find(id);
    byName.erase(found->second->name);
    byId.erase(found);
  }
}

void Mirror::Table::Put(std::vector<Record> records) {
  const auto oldSize = static_cast<std::ptrdiff_t>(inOrder.size());
  for (auto& record : records) {
    const auto [place, isNew] = byId.try_emplace(record->id);
    if (isNew)
      inOrder.push_back(&place->second);
    else
      byName.erase(place->second->name);  // a view into the old record
    byName[record->name] = record->id;
    place->second = std::move(record);
  }
  // They come in the order of their changes, which need not be that of their ids.
  const auto firstNew = inOrder.begin() + oldSize;
  std::sort(firstNew, inOrder.end(), ById<Record>);
  std::inplace_merge(inOrder.begin(), firstNew, inOrder.end(), ById<Record>);
}

void Mirror::Apply(wire::Batch::Reader batch) {
  std::vector<Record> records;
  records.reserve(batch.getMonitors().size());
  for (const auto monitor : batch.getMonitors())
    records.push_back(Read(monitor));
  if (batch.getReset()) m_next.emplace();
  if (m_next.has_value()) {
    m_next->Remove(batch.getRemoved());
    m_next->Put(std::move(records));
    if (!batch.getUpToDate()) return;
  }

  std::optional<Table> old;  // destroyed after the lock is released
  const std::lock_guard lock(m_mutex);
  if (m_next.has_value()) {
    old = std::exchange(m_table, std::move(*m_next));
    m_next.reset();
  } else {
    m_table.Remove(batch.getRemoved());
    m_table.Put(std::move(records));
  }
  m_state = State::Following;
  m_change = batch.getChange();
  ++m_updates;
  ReportUpdate();
}

void Mirror::SkipFilling() {
  const std::lock_guard lock(m_mutex);
  m_state = State::Following;
  m_change = UINT64_MAX - 1;
}

void Mirror::SetGone() {
  const std::lock_guard lock(m_mutex);
  m_state = State::Gone;
  ReportUpdate();
}

void Mirror::ReportUpdate() {
  m_updated.notify_all();
  if (m_onUpdate) m_onUpdate();
}

void Mirror::OnUpdate(std::function<void()> callback) {
  const std::lock_guard lock(m_mutex);
  m_onUpdate = std::move(callback);
}

std::uint64_t Mirror::Change() const {
  const std::lock_guard lock(m_mutex);
  return m_change;
}

Mirror::State Mirror::CurrentState() const {
  const std::lock_guard lock(m_mutex);
  return m_state;
}

void Mirror::CheckFollowing() const {
  if (m_state != State::Following)
    throw EngineError(EngineErrorCode::Gone, "the engine is gone or was restarted");
}

Mirror::Record Mirror::Get(MonitorId id) const {
  const std::lock_guard lock(m_mutex);
  CheckFollowing();
  const auto found = m_table.byId.find(id);
  if (found == m_table.byId.end()) throw EngineError(EngineErrorCode::NotFound, "no such monitor");
  return found->second;
}

std::size_t Mirror::Count() const {
  const std::lock_guard lock(m_mutex);
  CheckFollowing();
  return m_table.inOrder.size();
}

MonitorId Mirror::IdAt(int position) const {
  const std::lock_guard lock(m_mutex);
  CheckFollowing();
  if (position < 1 || static_cast<std::size_t>(position) > m_table.inOrder.size())
    throw EngineError(EngineErrorCode::NotFound, "no monitor number " + std::to_string(position));
  return (*m_table.inOrder[static_cast<std::size_t>(position) - 1])->id;
}

MonitorId Mirror::Find(std::string_view fullName) const {
  const std::lock_guard lock(m_mutex);
  CheckFollowing();
  const auto found = m_table.byName.find(fullName);
  if (found == m_table.byName.end())
    throw EngineError(EngineErrorCode::NotFound, "no such monitor: " + std::string(fullName));
  return found->second;
}

console::engine::MonitorSnapshot Mirror::All() const {
  const std::lock_guard lock(m_mutex);
  CheckFollowing();
  console::engine::MonitorSnapshot all;
  all.reserve(m_table.inOrder.size());
  for (const auto* record : m_table.inOrder)
    all.push_back(*record);
  return all;
}

std::uint64_t Mirror::WaitForUpdate(std::uint64_t seen, std::chrono::milliseconds time) const {
  std::unique_lock lock(m_mutex);
  m_updated.wait_for(lock, time, [&] { return m_updates > seen || m_state != State::Following; });
  CheckFollowing();
  return m_updates;
}

}  // namespace norvane::link
