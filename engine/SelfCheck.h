#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/model/CheckFigures.h"
#include "engine/model/Health.h"

namespace norvane::engine {

/// Whether the engine's threads go on: event loops turn, results arrive, the writer writes. On the service
/// thread, which vouches for the others and for itself by calling.
class SelfCheck {
 public:
  struct Observation {
    CheckFigures figures;
    std::chrono::milliseconds writerBusy{0};
    std::uint64_t deliveries = 0;  ///< wake-ups of the service thread since the start
  };
  struct Stall {
    std::string_view what{};  ///< empty: everything goes on
    std::chrono::milliseconds lasting{0};
  };

  SelfCheck(Health& health, Health::Clock clock) : m_health(health), m_clock(std::move(clock)) {}

  /// To be called about once a second. Begins and ends conditions.
  void Observe(const Observation& now);
  /// What does not go on, and for how long.
  [[nodiscard]] Stall FindStall(const Observation& now) const;
  /// Why checks don't start in time, results don't arrive or writes don't reach the disk; empty if they do.
  [[nodiscard]] std::string FindTrouble(const Observation& now) const;
  /// Whether nothing stalled at the last observations. A single one may come first after the process was
  /// stopped, when no thread has gone on.
  [[nodiscard]] bool IsAlive() const { return m_stalled < MaxStalled; }

 private:
  static constexpr int MaxStalled = 3;  ///< observations in a row

  /// A counter that keeps growing.
  struct Growth {
    std::uint64_t value = 0;
    Health::Moment since{}, last{};
    /// Whether it has been growing for a minute, with pauses of `maxPause` at most.
    [[nodiscard]] bool Lasts(std::uint64_t newValue, Health::Moment now, std::chrono::minutes maxPause);
  };

  Health& m_health;
  Health::Clock m_clock;
  Growth m_notMade, m_thrownAway, m_unanswered;
  std::uint64_t m_answered = 0, m_made = 0, m_deliveries = 0;
  Health::Moment m_resultsMissingSince = Health::Moment::max();
  int m_stalled = 0;
};

}  // namespace norvane::engine
