#include "engine/history/StateTimeline.h"

#include <algorithm>

namespace norvane::engine {

using console::engine::StateTimes;
using std::chrono::milliseconds;

namespace {
constexpr bool IsFailing(StateChange::Kind kind) {
  return kind == StateChange::Kind::Failing || kind == StateChange::Kind::Down;
}
}  // namespace

StateTimeline::StateTimeline(Time since, Time until, std::chrono::seconds step)
    : m_since(since), m_until(until), m_now(since), m_step(step) {
  m_steps.resize(static_cast<std::size_t>((until - since + step - Time::duration(1)) / step));
}

void StateTimeline::Add(const StateChange& change) {
  AdvanceTo(change.at);
  switch (change.kind) {
    case Kind::Silenced:
      m_silencedUntil = change.until;
      break;
    case Kind::Unsilenced:
      m_silencedUntil = {};
      break;
    case Kind::EngineOff:
      if (m_state != Kind::Stopped) SetState({Kind::Unwatched, change.at, {}, {}});
      break;
    default:
      SetState(change);
  }
}

void StateTimeline::Finish() {
  AdvanceTo(m_until);
  std::erase_if(m_outages, [this](const auto& each) {
    return each.since >= m_until || (each.until && *each.until <= m_since);
  });
}

void StateTimeline::SetState(const StateChange& change) {
  if (IsFailing(change.kind)) {
    if (!IsFailing(m_state)) m_outages.push_back({change.at, {}, change.reason, false});
    auto& outage = m_outages.back();
    if (change.kind == Kind::Down && !outage.isOutage) {
      outage.isOutage = true;
      outage.reason = change.reason;
    }
  } else if (IsFailing(m_state)) {
    m_outages.back().until = change.at;
  }
  m_state = change.kind;
}

/// The state and the silence were as they are until then.
void StateTimeline::AdvanceTo(Time at) {
  const auto end = std::min(at, m_until);
  if (end <= m_now) return;
  const auto silenced = std::clamp(m_silencedUntil, m_now, end);
  AddTime(m_now, silenced, true);
  AddTime(silenced, end, false);
  m_now = end;
}

void StateTimeline::AddTime(Time from, Time to, bool isSilenced) {
  auto StateTimes::*field = m_state == Kind::Stopped     ? &StateTimes::stopped
                            : isSilenced                 ? &StateTimes::silenced
                            : m_state == Kind::Unwatched ? &StateTimes::unwatched
                            : m_state == Kind::Up        ? &StateTimes::up
                                                         : &StateTimes::down;
  while (from < to) {
    const auto step = (from - m_since) / m_step;
    const auto end = std::min(to, m_since + (step + 1) * m_step);
    m_steps[static_cast<std::size_t>(step)].*field += std::chrono::duration_cast<milliseconds>(end - from);
    from = end;
  }
}

}  // namespace norvane::engine
