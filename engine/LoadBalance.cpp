#include "engine/LoadBalance.h"

#include <algorithm>

namespace norvane::engine {

namespace {
/// Loops whose loads differ by less than this part of the greater are even enough.
constexpr double EvenEnough = 0.1;
/// So that no change costs much, however many monitors there are.
constexpr int MaxTried = 16;

constexpr auto ByLoad = [](const auto& a, const auto& b) { return a.load < b.load; };
}  // namespace

std::size_t LoadBalance::Add(MonitorId id, double load) {
  auto free =
      std::find_if(m_loops.begin(), m_loops.end(), [&](const Loop& loop) { return loop.load < m_enough; });
  if (free == m_loops.end()) free = std::min_element(m_loops.begin(), m_loops.end(), ByLoad);
  const auto loop = static_cast<std::size_t>(free - m_loops.begin());
  m_loops[loop].monitors.insert(id);
  try {
    m_placed[id] = {loop, load};
  } catch (...) {
    m_loops[loop].monitors.erase(id);
    throw;
  }
  m_loops[loop].load += load;
  return loop;
}

void LoadBalance::SetLoad(MonitorId id, double load) {
  auto& placed = m_placed.at(id);
  m_loops[placed.loop].load += load - placed.load;
  placed.load = load;
}

void LoadBalance::Remove(MonitorId id) {
  const auto placed = m_placed.extract(id);
  if (placed.empty()) return;
  auto& loop = m_loops[placed.mapped().loop];
  loop.monitors.erase(id);
  loop.load = loop.monitors.empty() ? 0 : loop.load - placed.mapped().load;
}

std::optional<LoadBalance::Move> LoadBalance::Even() {
  const auto [least, most] = std::minmax_element(m_loops.begin(), m_loops.end(), ByLoad);
  const auto gap = most->load - least->load;
  if (most->load <= m_enough || gap <= EvenEnough * most->load) return std::nullopt;
  int tried = 0;
  for (const auto id : most->monitors) {
    const auto load = m_placed.at(id).load;
    // Else the other loop would have as much to do afterwards, or more. Sums of loads are not exact.
    if (load < gap * (1 - EvenEnough)) {
      const auto to = static_cast<std::size_t>(least - m_loops.begin());
      least->monitors.insert(id);  // may throw; what follows may not
      most->monitors.erase(id);
      most->load -= load;
      least->load += load;
      m_placed.at(id).loop = to;
      return Move{id, to};
    }
    if (++tried == MaxTried) break;
  }
  return std::nullopt;
}

}  // namespace norvane::engine
