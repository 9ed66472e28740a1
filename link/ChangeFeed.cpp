#include "link/ChangeFeed.h"

#include <algorithm>

#include "console/engine/Limits.h"
#include "link/Wire.h"

namespace norvane::link {

using console::engine::KnownKeys;

namespace {
// One monitor fits into a message, and a batch was not full before its last monitor.
static_assert((KnownKeys.size() + engine::Attributes::MaxOthers) *
                          (console::engine::MaxValueSize + console::engine::MaxKeySize) +
                      2 * ChangeFeed::MaxBytes <
                  MaxMessageToConsole &&
              console::engine::MaxValueSize < MaxMessageToEngine);

std::size_t TextSize(const engine::Monitor& monitor) {
  std::size_t size = monitor.name.size();
  for (std::size_t i = 0; i < KnownKeys.size(); ++i)
    size += monitor.attributes->At(i).size();
  for (const auto& [key, value] : monitor.attributes->Unknown())
    size += key.size() + value.size();
  return size;
}

void WriteAttributes(const engine::Attributes& from, wire::Monitor::Builder to) {
  auto values = to.initValues(KnownKeys.size());
  for (unsigned i = 0; i < KnownKeys.size(); ++i)
    if (!from.At(i).empty()) values.set(i, ToData(from.At(i)));
  if (from.Unknown().empty()) return;
  auto others = to.initOthers(static_cast<unsigned>(from.Unknown().size()));
  unsigned next = 0;
  for (const auto& [key, value] : from.Unknown()) {
    auto pair = others[next++];
    pair.setKey(ToText(key));
    pair.setValue(ToData(value));
  }
}

void WriteMonitor(const engine::Monitor& from, wire::Monitor::Builder to) {
  to.setId(from.id);
  to.setName(ToText(from.name));
  WriteAttributes(*from.attributes, to);
  if (!from.lastCheck.any) return;
  auto lastCheck = to.getLastCheck();
  lastCheck.setAt(ToMilliseconds(from.lastCheck.at));
  lastCheck.setDurationMs(static_cast<std::uint32_t>(from.lastCheck.duration.count()));
  lastCheck.setSince(ToMilliseconds(from.lastCheck.since));
  lastCheck.setFailuresInARow(static_cast<std::uint32_t>(from.lastCheck.failuresInARow));
}
}  // namespace

bool ChangeFeed::Pending(const engine::MonitorTable& table) const {
  return m_generation != table.Generation() || m_change != table.LastChange();
}

ChangeFeed::Batch ChangeFeed::Next(const engine::MonitorTable& table) {
  Batch batch;
  batch.reset = m_generation != table.Generation();
  if (batch.reset) {
    m_generation = table.Generation();
    m_change = 0;
  } else {
    batch.removed = table.RemovedSince(m_removedChange);
  }
  m_removedChange = table.LastChange();

  const engine::Monitor* next = table.NextChanged(m_change);
  while (next != nullptr && !batch.IsFull()) {
    batch.Add(*next);
    m_change = next->change;
    next = table.NextChanged(m_change);
  }
  batch.upToDate = next == nullptr;
  if (batch.upToDate) m_change = table.LastChange();
  batch.change = m_change;
  return batch;
}

std::uint64_t ChangeFeed::Batch::WordsHint() const {
  constexpr std::size_t wordsPerMonitor = 40;  // fields, list of values, half a word of padding each
  return 16 + removed.size() + monitors.size() * wordsPerMonitor + bytes / sizeof(capnp::word);
}

void ChangeFeed::Batch::Write(wire::Batch::Builder to) const {
  to.setReset(reset);
  to.setUpToDate(upToDate);
  to.setChange(change);
  auto ids = to.initRemoved(static_cast<unsigned>(removed.size()));
  for (unsigned i = 0; i < removed.size(); ++i)
    ids.set(i, removed[i]);
  WriteMonitors(to.initMonitors(static_cast<unsigned>(monitors.size())));
}

void ChangeFeed::Batch::WriteMonitors(capnp::List<wire::Monitor>::Builder to) const {
  for (unsigned i = 0; i < monitors.size(); ++i)
    WriteMonitor(*monitors[i], to[i]);
}

void ChangeFeed::Batch::Add(const engine::Monitor& monitor) {
  monitors.push_back(&monitor);
  bytes += TextSize(monitor);
}

std::uint32_t ChangeFeed::Batch::Fill(const engine::MonitorTable& table,
                                      capnp::List<std::uint64_t>::Reader ids) {
  std::uint32_t done = 0;
  for (; done < ids.size() && !IsFull(); ++done)
    if (const auto* monitor = table.Find(ids[done])) Add(*monitor);
  return done;
}

}  // namespace norvane::link
