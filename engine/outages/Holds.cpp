#include "engine/outages/Holds.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"
#include "engine/model/CheckTimes.h"
#include "engine/net/Reason.h"
#include "platform/Blanks.h"
#include "platform/TimeText.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {

constexpr int MaxIntervalsOfGrace = 3;

std::string_view ParentOf(const Monitor& monitor) {
  return platform::Trimmed(monitor.attributes->Get(keys::Parent));
}

/// The monitors on which one depends, the next one first.
struct Ancestors {
  std::vector<const Monitor*> all;
  std::string circle;  ///< the names in it; those behind its entry are not in `all`
};

Ancestors AncestorsOf(const MonitorTable& table, const Monitor& monitor) {
  Ancestors ancestors;
  std::map<const Monitor*, std::size_t> places{{&monitor, 0}};  // counted from the monitor itself
  for (const Monitor* each = &monitor; (each = table.Find(ParentOf(*each))) != nullptr;) {
    const auto [place, isNew] = places.emplace(each, ancestors.all.size() + 1);
    if (isNew) {
      ancestors.all.push_back(each);
      continue;
    }
    const auto first = place->second;
    for (std::size_t i = first; i <= ancestors.all.size(); ++i)
      ancestors.circle += (i == 0 ? monitor.name : ancestors.all[i - 1]->name) + " -> ";
    ancestors.circle += each->name;
    ancestors.all.resize(first == 0 ? 0 : first - 1);
    break;
  }
  return ancestors;
}

std::string RemarkOn(const MonitorTable& table, const Monitor& monitor) {
  const auto name = ParentOf(monitor);
  if (name.empty()) return {};
  const Monitor* parent = table.Find(name);
  if (parent == nullptr) return "no such monitor: " + PlainText(name);
  if (!parent->Running()) return parent->name + " is stopped";
  const auto circle = AncestorsOf(table, monitor).circle;
  return circle.empty() ? circle : "a circle, which holds nothing: " + circle;
}

}  // namespace

void Holds::Restore(Silences silences, bool keepsUnknown) {
  for (auto& [name, silence] : silences) {
    EndInTime(silence);
    if (m_hooks.table().Find(name) != nullptr)
      m_silences.emplace(name, std::move(silence));
    else if (keepsUnknown)
      m_unknown.emplace(name, std::move(silence));
    else
      m_changes[name] = std::nullopt;
  }
}

/// One that began in the future did so by a clock that was set back since.
void Holds::EndInTime(Silence& silence) const {
  const auto ahead = silence.since - m_hooks.wallClock();
  if (ahead <= ahead.zero()) return;
  silence.since -= ahead;
  silence.until -= ahead;
}

Hold Holds::HoldOf(const Monitor& monitor) const {
  if (auto why = SilenceOf(monitor); !why.empty()) return {std::move(why), true};
  return ParentHoldOf(monitor);
}

std::string Holds::SilenceOf(const Monitor& monitor) const {
  const auto found = m_silences.find(monitor.name);
  if (found == m_silences.end() || found->second.until <= m_hooks.wallClock()) return {};
  const auto& [until, because, since] = found->second;
  return "silenced until " + platform::FormatTime("%Y-%m-%d %H:%M:%S", platform::LocalTime(until)) +
         (because.empty() ? "" : " (" + because + ")");
}

Hold Holds::ParentHoldOf(const Monitor& monitor) const {
  if (ParentOf(monitor).empty()) return {};
  Hold hold;
  const auto now = m_hooks.clock();
  const auto own = m_hooks.history(monitor.id);
  const auto interval = CheckTimes::Of(*monitor.attributes).interval;
  const bool hasGrace =
      own.parentBackSince == Moment() || now < own.parentBackSince + MaxIntervalsOfGrace * interval;
  for (const auto* each : AncestorsOf(m_hooks.table(), monitor).all) {
    if (!each->Running()) continue;
    const auto history = m_hooks.history(each->id);
    if (history.isFailing) return {each->name + " is down"};
    const auto latest = own.firstFailure + interval + CheckTimes::Of(*each->attributes).timeout;
    const bool isStale = own.lastFailure != Moment() && own.lastFailure < history.lastEnd;
    if (own.firstFailure != Moment() && history.lastCheck < own.firstFailure && now < latest)
      hold.why = each->name + " is to be checked first";
    else if (history.lastEnd != Moment() && hasGrace && (isStale || now < history.lastEnd + interval))
      hold = {each->name + " has just come back", false, true};
  }
  return hold;
}

void Holds::Begin(const Monitor& monitor, Silence silence) {
  m_changes[monitor.name] = m_silences[monitor.name] = std::move(silence);
  m_hooks.log(monitor, SilenceOf(monitor));
}

void Holds::End(const Monitor& monitor) {
  if (!m_silences.contains(monitor.name)) return;
  Forget(monitor.name);
  m_hooks.log(monitor, "silence ends");
}

void Holds::Forget(const std::string& name) {
  if (m_silences.erase(name) > 0) m_changes[name] = std::nullopt;
  m_remarks.erase(name);
}

void Holds::TableReplaced() {
  auto silences = std::exchange(m_silences, {});
  silences.merge(std::exchange(m_unknown, {}));
  m_remarks.clear();
  Restore(std::move(silences), false);
}

Holds::WallTime::duration Holds::WallLead() const {
  return m_hooks.wallClock().time_since_epoch() -
         std::chrono::duration_cast<WallTime::duration>(m_hooks.clock().time_since_epoch());
}

/// When it is set forward, or the machine was suspended, silences end by it.
void Holds::FollowWallClock() {
  const auto step = WallLead() - std::exchange(m_wallLead, WallLead());
  if (step > -std::chrono::seconds(1)) return;
  for (auto& [name, silence] : m_silences) {
    silence.until += step;
    silence.since += step;
    m_changes[name] = silence;
  }
}

void Holds::OnSecond() {
  FollowWallClock();
  const auto now = m_hooks.wallClock();
  std::vector<std::string> ended;
  for (const auto& [name, silence] : m_silences)
    if (silence.until <= now) ended.push_back(name);
  for (const auto& name : ended)
    End(*m_hooks.table().Find(name));
}

SilenceChanges Holds::DequeueChanges() {
  return std::exchange(m_changes, {});
}

void Holds::LogRemark(const Monitor& monitor) {
  auto remark = RemarkOn(m_hooks.table(), monitor);
  if (remark.empty()) {
    m_remarks.erase(monitor.name);
  } else if (auto& logged = m_remarks[monitor.name]; logged != remark) {
    logged = std::move(remark);
    m_hooks.log(monitor, std::string(keys::Parent) + ": " + logged);
  }
}

void RefuseCircle(const std::string& chain) {
  throw console::engine::EngineError(console::engine::EngineErrorCode::Invalid,
                                     std::string(keys::Parent) + " must not make a circle: " + chain);
}

void RequireNoCircle(const MonitorTable& table, const Monitor& monitor, std::string_view parent) {
  std::string chain = monitor.name;
  const Monitor* each = table.Find(platform::Trimmed(parent));
  for (std::size_t steps = 0; each != nullptr && steps <= table.Count(); ++steps) {
    chain += " -> " + each->name;
    if (each == &monitor) RefuseCircle(chain);
    each = table.Find(ParentOf(*each));
  }
}

}  // namespace norvane::engine
