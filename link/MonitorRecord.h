#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/MonitorKeys.h"

namespace norvane::link {

/// One monitor as the engine last told it. Never changes: a change makes a new one.
struct MonitorRecord {
  std::uint64_t id = 0;
  std::string name;
  std::array<std::string, console::engine::KnownKeys.size()> known;  ///< by position in KnownKeys
  std::map<std::string, std::string, std::less<>> others;
  /// The last check at the time of the last change; `at` is the epoch if there was none.
  std::chrono::system_clock::time_point checkedAt;
  std::chrono::milliseconds checkDuration{0};
  unsigned failuresInARow = 0;

  /// Empty text for a key that was never set.
  [[nodiscard]] const std::string& Get(std::string_view key) const;
};

using MonitorSnapshot = std::vector<std::shared_ptr<const MonitorRecord>>;

}  // namespace norvane::link
