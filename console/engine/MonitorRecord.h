#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/MonitorKeys.h"

namespace norvane::console::engine {

/// A text for each of KnownKeys, all in one piece: a monitor has many and most are short or empty.
class KnownValues {
 public:
  using Views = std::array<std::string_view, KnownKeys.size()>;

  KnownValues() = default;
  explicit KnownValues(const Views& values);
  [[nodiscard]] std::string_view operator[](std::size_t position) const;

 private:
  std::string m_text;
  std::array<std::uint32_t, KnownKeys.size()> m_ends{};
};

/// Unique among the monitors of one engine process, also the removed ones.
using MonitorId = std::uint64_t;

/// One monitor as the engine last sent it. Never changes: a change makes a new one.
struct MonitorRecord {
  MonitorId id = 0;
  std::string name;
  bool hasPage = false;  ///< whether the engine wants a property page shown for its type
  KnownValues known;
  std::map<std::string, std::string, std::less<>> others;
  /// The last check at the time of the last change; `at` is the epoch if there was none.
  std::chrono::system_clock::time_point checkedAt;
  std::chrono::milliseconds checkDuration{0};
  unsigned failuresInARow = 0;
  /// End of the first check in a row that was good or failed like the last one.
  std::chrono::system_clock::time_point since;

  [[nodiscard]] std::string_view TypeName() const;
  /// Empty text for a key that was never set.
  [[nodiscard]] std::string_view Get(std::string_view key) const;
};

using MonitorPtr = std::shared_ptr<const MonitorRecord>;
using MonitorSnapshot = std::vector<MonitorPtr>;

}  // namespace norvane::console::engine
