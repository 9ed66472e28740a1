#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace norvane::console::engine {

/// Something that is wrong with the engine itself.
struct EngineCondition {
  std::string text;
  std::chrono::system_clock::time_point since;
  bool operator==(const EngineCondition&) const = default;
};

/// A running monitor that had no check for three of its intervals.
struct OverdueMonitor {
  std::string name;                                 ///< full name
  std::chrono::system_clock::time_point checkedAt;  ///< the epoch if it never was
  bool operator==(const OverdueMonitor&) const = default;
};

/// How the engine is doing. Counts are since it started.
struct EngineStatus {
  std::uint64_t checksMade = 0;
  std::uint64_t checksFailed = 0;  ///< among them
  std::uint64_t checksNotMade = 0;
  std::uint64_t resultsThrownAway = 0;
  std::chrono::milliseconds latestStart{0};  ///< of a check, in the last minute
  std::chrono::microseconds longestTurn{0};  ///< of an event loop, in the last minute
  std::uint64_t inFlight = 0;
  std::uint64_t waiting = 0;  ///< checks that are due but held back
  std::string stalled;        ///< the part of the engine that does not go on; empty if there is none
  std::chrono::milliseconds stalledFor{0};
  std::vector<EngineCondition> conditions;
  std::vector<OverdueMonitor> overdue;
  std::size_t monitors = 0;
  std::size_t running = 0;  ///< among them
  std::size_t failing = 0;  ///< among the running ones

  bool operator==(const EngineStatus&) const = default;
  [[nodiscard]] bool IsHealthy() const { return conditions.empty() && stalled.empty(); }
};

/// A status on its way.
class StatusQuery {
 public:
  virtual ~StatusQuery() = default;
  [[nodiscard]] virtual bool HasEnded() = 0;
  /// Waits for the end. Once. Throws EngineError.
  [[nodiscard]] virtual EngineStatus Reply() = 0;
};

}  // namespace norvane::console::engine
