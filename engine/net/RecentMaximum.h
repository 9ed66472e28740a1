#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>

namespace norvane::engine {

/// The longest of the durations that were noted in the last minute, to within ten seconds.
template <class Duration>
class RecentMaximum {
 public:
  using Moment = std::chrono::steady_clock::time_point;

  void Note(Moment now, Duration value) {
    const auto slot = SlotAt(now);
    auto& entry = m_slots[static_cast<std::size_t>(slot) % m_slots.size()];
    entry = {slot, entry.slot == slot ? std::max(entry.maximum, value) : value};
  }
  [[nodiscard]] Duration At(Moment now) const {
    Duration maximum{0};
    for (const auto& entry : m_slots)
      if (SlotAt(now) - entry.slot < static_cast<long>(m_slots.size()))
        maximum = std::max(maximum, entry.maximum);
    return maximum;
  }

 private:
  struct Slot {
    long slot = -1;
    Duration maximum{0};
  };
  static long SlotAt(Moment moment) { return moment.time_since_epoch() / std::chrono::seconds(10); }

  std::array<Slot, 6> m_slots;
};

}  // namespace norvane::engine
