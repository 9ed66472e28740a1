#pragma once

#include <cstddef>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/model/Requests.h"

namespace norvane::engine {

/// Distributes monitors over loops by their loads: checks a second.
class LoadBalance {
 public:
  struct Move {
    MonitorId id;
    std::size_t to;
  };

  /// A loop with less to do than `enough` gets monitors before others do: checks that start together cost
  /// less.
  LoadBalance(std::size_t loops, double enough) : m_loops(loops), m_enough(enough) {}

  /// Gives the loop of a new monitor, the one with the least load if all have enough. If it throws, nothing
  /// was added.
  std::size_t Add(MonitorId id, double load);
  void SetLoad(MonitorId id, double load);
  /// Harmless if it isn't there.
  void Remove(MonitorId id);

  /// Moves a monitor to a loop with less to do, if that is worth while.
  [[nodiscard]] std::optional<Move> Even();

 private:
  struct Placed {
    std::size_t loop;
    double load;
  };
  struct Loop {
    double load = 0;
    std::unordered_set<MonitorId> monitors{};
  };

  std::vector<Loop> m_loops;
  double m_enough;
  std::unordered_map<MonitorId, Placed> m_placed;
};

}  // namespace norvane::engine
