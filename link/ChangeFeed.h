#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/model/MonitorTable.h"
#include "link/engine.capnp.h"

namespace norvane::link {

/// Follows a table for one console: remembers only the change up to which everything was handed out, and cuts
/// what came later into batches.
class ChangeFeed {
 public:
  /// A batch has at most so many monitors, and ends with the one that brings it to so many bytes.
  static constexpr std::size_t MaxMonitors = 1000;
  static constexpr std::size_t MaxBytes = 1 << 20;

  /// The pointers hold until the table changes.
  struct Batch {
    bool reset = false;
    bool upToDate = false;
    std::uint64_t change = 0;
    std::vector<engine::MonitorId> removed;
    std::vector<const engine::Monitor*> monitors;
    std::size_t bytes = 0;  ///< of all text in it

    [[nodiscard]] std::uint64_t WordsHint() const;
    void Write(wire::Batch::Builder to) const;
  };

  /// Whether the table has something that was not handed out.
  [[nodiscard]] bool Pending(const engine::MonitorTable& table) const;
  /// The next batch, which counts as handed out from now on.
  [[nodiscard]] Batch Next(const engine::MonitorTable& table);

 private:
  std::optional<std::uint32_t> m_generation;
  std::uint64_t m_change = 0;
  std::uint64_t m_removedChange = 0;
};

}  // namespace norvane::link
