#pragma once

#include "bench/Measure.h"

namespace norvane::bench {

/// How many checks a bare loop makes at a time.
inline constexpr int InFlight = 64;

/// Says when a bare loop may begin another check.
class Pace {
 public:
  /// 0 a second: as fast as it goes.
  explicit Pace(int perSecond) : m_perSecond(perSecond) {}

  [[nodiscard]] bool Allows(int begun) const {
    if (m_perSecond == 0) return true;
    const std::chrono::duration<double> passed = Clock::now() - m_began;
    return begun <= static_cast<int>(passed.count() * m_perSecond);
  }
  /// Milliseconds after which to ask again.
  [[nodiscard]] int LongestWait() const { return m_perSecond == 0 ? 1000 : 10; }

 private:
  int m_perSecond;
  Clock::time_point m_began = Clock::now();
};

}  // namespace norvane::bench
