#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "console/engine/MonitorHistory.h"

namespace norvane::engine {

/// A change of a monitor's state, as the history keeps it.
struct StateChange {
  /// Stored as they are: a new one comes at the end.
  enum class Kind {
    Unwatched,  ///< it runs, but was not checked yet
    Up,
    Failing,   ///< the first failed check in a row
    Down,      ///< the failed check that made it an outage
    Stopped,   ///< or removed
    Silenced,  ///< beside its state, until `until`
    Unsilenced,
    EngineOff,  ///< no monitor was watched from then on
  };
  using Time = console::engine::HistoryQuery::Time;

  Kind kind = Kind::Unwatched;
  Time at{};             ///< start of the check, or when it was done
  Time until{};          ///< of a silence
  std::string reason{};  ///< of a failed check
};

/// What the changes of one monitor mean for the time from `since` to `until`: how long it was in each state,
/// in all and in each step, and its outages.
class StateTimeline {
 public:
  using Time = StateChange::Time;

  StateTimeline(Time since, Time until, std::chrono::seconds step);

  /// In the order of their times, beginning with the one before `since` that says what the state was then, if
  /// there is one; before the first it is stopped.
  void Add(const StateChange& change);
  /// No more follow.
  void Finish();

  [[nodiscard]] const std::vector<console::engine::StateTimes>& Steps() const { return m_steps; }
  [[nodiscard]] const std::vector<console::engine::PastOutage>& Outages() const { return m_outages; }

 private:
  using Kind = StateChange::Kind;

  void AdvanceTo(Time at);
  void AddTime(Time from, Time to, bool isSilenced);
  void SetState(const StateChange& change);

  Time m_since, m_until, m_now;
  std::chrono::seconds m_step;
  Kind m_state = Kind::Stopped;
  Time m_silencedUntil{};
  std::vector<console::engine::StateTimes> m_steps;
  std::vector<console::engine::PastOutage> m_outages;
};

}  // namespace norvane::engine
