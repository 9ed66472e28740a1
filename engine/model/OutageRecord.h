#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace norvane::engine {

/// What of an outage outlives a restart of the engine.
struct OutageRecord {
  int failures = 0;
  std::chrono::system_clock::time_point since;  ///< the first failure in the row
  bool isOpen = false;                          ///< they have made an outage
  int launched = 0;
  bool notified = false;
  bool operator==(const OutageRecord&) const = default;
};

/// By the monitor's full name.
using OutageRecords = std::map<std::string, OutageRecord, std::less<>>;
/// By the monitor's full name; none: the outage is over.
using OutageChanges = std::map<std::string, std::optional<OutageRecord>>;

}  // namespace norvane::engine
