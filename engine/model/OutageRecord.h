#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace norvane::engine {

/// What of the failures in a row of one monitor outlives a restart of the engine.
struct OutageRecord {
  /// What has become of the one message that an outage calls for.
  enum class Message {
    None,      ///< none is called for yet
    Owed,      ///< among the owed messages
    Accepted,  ///< by its channel
    GivenUp,
  };

  std::string identity{};  ///< random; the identities of its messages begin with it
  int failures = 0;
  std::chrono::system_clock::time_point since{};  ///< the first failure in the row
  bool isOpen = false;                            ///< they have made an outage
  int launched = 0;
  Message message = Message::None;
  bool operator==(const OutageRecord&) const = default;
};

/// By the monitor's full name.
using OutageRecords = std::map<std::string, OutageRecord, std::less<>>;
/// By the monitor's full name; none: the failures are over.
using OutageChanges = std::map<std::string, std::optional<OutageRecord>>;

}  // namespace norvane::engine
