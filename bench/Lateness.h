#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "bench/PageServer.h"

namespace norvane::bench {

/// When checks start, as the server sees it that they go to.
///
/// The engine spreads the first starts of n monitors evenly over the interval, so the planned starts are on a
/// straight line over the monitors' numbers; it is taken as the highest one with the slope that fits best
/// below which there is no start. So the wait for a batch, the connection and the server's own delay count as
/// lateness, and also every bend that the engine's start put into the line.
struct Lateness {
  std::vector<double> milliseconds;  ///< of all starts in the rounds that were looked at
  int lost = 0;                      ///< starts missing in them

  struct Expected {
    std::uint32_t monitors = 0;  ///< with the numbers 0 to this, in the order of their starts
    std::uint32_t noted = 0;     ///< how many of them the server notes
    std::chrono::seconds interval{};
    int firstRound = 0;  ///< earlier ones warm up
    int rounds = 0;
  };
  [[nodiscard]] static Lateness Of(const std::vector<Arrivals::Entry>& arrivals, const Expected& expected);
};

}  // namespace norvane::bench
