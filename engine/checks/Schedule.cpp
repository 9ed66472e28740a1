#include "engine/checks/Schedule.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace norvane::engine {

void Schedule::Add(MonitorId id, Moment first, Interval interval) {
  [[maybe_unused]] const bool isNew = m_entries.try_emplace(id, Entry{interval, first}).second;
  assert(isNew);
  m_due.emplace(first, id);
}

void Schedule::Remove(MonitorId id) {
  const auto at = m_entries.find(id);
  if (at == m_entries.end()) return;
  m_due.erase({at->second.due, id});
  m_entries.erase(at);
}

void Schedule::SetInterval(MonitorId id, Interval interval, Moment now) {
  auto& entry = m_entries.at(id);
  if (entry.interval == interval) return;
  entry.interval = interval;
  if (entry.started) Plan(id, entry, std::max(entry.planned + interval, std::min(entry.due, now)));
}

void Schedule::Hasten(MonitorId id, Moment at) {
  if (auto& entry = m_entries.at(id); at < entry.due) Plan(id, entry, at);
}

/// Allocates nothing: a monitor must not get lost.
void Schedule::Plan(MonitorId id, Entry& entry, Moment due) noexcept {
  const auto before = entry.due;
  entry.due = due;
  if (!entry.running.empty()) return;
  auto planned = m_due.extract({before, id});
  planned.value().first = due;
  m_due.insert(std::move(planned));
}

std::optional<MonitorId> Schedule::DequeueDue(Moment now) {
  if (m_due.empty() || m_due.begin()->first > now) return std::nullopt;
  const auto id = m_due.begin()->second;
  m_entries.at(id).running = m_due.extract(m_due.begin());
  return id;
}

Schedule::Lateness Schedule::Begin(MonitorId id, Moment now) {
  auto& entry = m_entries.at(id);
  // An interval that grew while the check waited makes it early.
  const auto late = std::max(now - entry.due, Moment::duration::zero());
  const auto missed = late / entry.interval;
  entry.planned = entry.due + missed * entry.interval;
  entry.due = entry.planned + entry.interval;
  entry.started = now;
  return {std::chrono::duration_cast<Interval>(late), missed};
}

bool Schedule::End(MonitorId id, Moment answered) {
  auto& entry = m_entries.at(id);
  assert(!entry.running.empty() && entry.started);
  // A start that came late may end past the next planned one without having outlasted anything.
  const bool outlasted = answered - *entry.started >= entry.interval;
  if (outlasted) entry.due = std::max(entry.due, answered);
  entry.running.value().first = entry.due;
  m_due.insert(std::move(entry.running));
  return outlasted;
}

std::optional<Moment> Schedule::NextStart() const {
  std::optional<Moment> start;
  int batch = 0;
  for (const auto& [due, id] : m_due) {
    if (batch++ == MaxBatch || due > m_due.begin()->first + BatchWindow) break;
    start = due;
  }
  return start;
}

}  // namespace norvane::engine
