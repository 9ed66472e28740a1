#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/model/MonitorTable.h"
#include "link/engine.capnp.h"

namespace norvane::link {

/// Follows a table for one console: keeps the number of the last change sent, and cuts later changes into
/// batches.
class ChangeFeed {
 public:
  /// A batch ends at this number of monitors, or with the monitor that reaches this number of bytes.
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
    void WriteMonitors(capnp::List<wire::Monitor>::Builder to) const;
    /// Adds those of `ids` that are still there until the batch is full; gives how many ids are done.
    [[nodiscard]] std::uint32_t Fill(const engine::MonitorTable& table,
                                     capnp::List<std::uint64_t>::Reader ids);

   private:
    friend class ChangeFeed;
    [[nodiscard]] bool IsFull() const { return monitors.size() >= MaxMonitors || bytes >= MaxBytes; }
    void Add(const engine::Monitor& monitor);
  };

  /// Whether the table has changes that were not sent.
  [[nodiscard]] bool Pending(const engine::MonitorTable& table) const;
  /// The next batch, which counts as sent from now on.
  [[nodiscard]] Batch Next(const engine::MonitorTable& table);

 private:
  std::optional<std::uint32_t> m_generation;
  std::uint64_t m_change = 0;
  std::uint64_t m_removedChange = 0;
};

}  // namespace norvane::link
