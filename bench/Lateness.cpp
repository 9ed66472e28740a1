#include "bench/Lateness.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>
#include <utility>

namespace norvane::bench {

namespace {

/// A start less all that is known of its plan: what is left is the same for all starts that are
/// equally late, but for the line's slope.
struct Start {
  std::uint32_t monitor;
  int round;
  double rest;  // milliseconds
};

std::vector<Start> StartsOf(const std::vector<Arrivals::Entry>& arrivals,
                            const Lateness::Expected& expected) {
  const double interval = std::chrono::duration<double, std::milli>(expected.interval).count();
  const auto rest = [&](const Arrivals::Entry& entry) {
    return 1e-6 * static_cast<double>(entry.at - arrivals.front().at) -
           interval * entry.monitor / expected.monitors;
  };
  std::vector<Start> starts;
  for (const auto& entry : arrivals) {
    const int round = static_cast<int>(std::floor((rest(entry) - rest(arrivals.front())) / interval + 0.5));
    if (round >= expected.firstRound && round < expected.firstRound + expected.rounds)
      starts.push_back({entry.monitor, round, rest(entry) - round * interval});
  }
  return starts;
}

/// The least squares' slope over the earliest start of each monitor.
double Slope(const std::vector<Start>& starts, std::uint32_t monitors) {
  constexpr double None = std::numeric_limits<double>::max();
  std::vector<double> earliest(monitors, None);
  for (const auto& start : starts)
    earliest[start.monitor] = std::min(earliest[start.monitor], start.rest);
  double n = 0, x = 0, y = 0, xx = 0, xy = 0;
  for (std::uint32_t i = 0; i < monitors; ++i) {
    if (earliest[i] == None) continue;
    n += 1;
    x += i;
    y += earliest[i];
    xx += static_cast<double>(i) * i;
    xy += i * earliest[i];
  }
  return (n * xy - x * y) / (n * xx - x * x);
}

}  // namespace

Lateness Lateness::Of(const std::vector<Arrivals::Entry>& arrivals, const Expected& expected) {
  if (arrivals.empty()) throw std::runtime_error("no check came");
  const auto starts = StartsOf(arrivals, expected);
  const double slope = Slope(starts, expected.monitors);
  Lateness result;
  std::set<std::pair<std::uint32_t, int>> seen;
  for (const auto& start : starts) {
    seen.emplace(start.monitor, start.round);
    result.milliseconds.push_back(start.rest - slope * start.monitor);
  }
  const double line = *std::min_element(result.milliseconds.begin(), result.milliseconds.end());
  for (auto& late : result.milliseconds)
    late -= line;
  result.lost = static_cast<int>(expected.noted) * expected.rounds - static_cast<int>(seen.size());
  return result;
}

}  // namespace norvane::bench
