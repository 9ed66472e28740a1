#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "console/engine/Port.h"
#include "link/engine.capnp.h"

namespace norvane::link {

/// The console's copy of the engine's monitors: written by the link's thread, read by any. Reads throw
/// EngineError: Gone once the engine has gone (and before it was reached), NotFound.
class Mirror {
 public:
  // The link's thread.

  /// The keys of the batches' values, in their order, and the engine's types. Clears the state of an earlier
  /// attempt to connect.
  void Begin(std::vector<std::string> wireKeys, std::vector<console::engine::MonitorTypeInfo> types);
  void Apply(wire::Batch::Reader batch);
  /// In place of batches, for a client that does not follow: the mirror stays empty and has any change.
  void SkipFilling();
  [[nodiscard]] console::engine::MonitorPtr Read(wire::Monitor::Reader from) const;
  void SetGone();
  /// Change number up to which readers see everything; 0 until the first fill is complete.
  [[nodiscard]] std::uint64_t Change() const;

  // Readers.

  enum class State { NeverReached, Following, Gone };
  [[nodiscard]] State CurrentState() const;
  [[nodiscard]] std::size_t Count() const;
  /// `position` counts from 1.
  [[nodiscard]] console::engine::MonitorId IdAt(int position) const;
  [[nodiscard]] console::engine::MonitorId Find(std::string_view fullName) const;
  [[nodiscard]] console::engine::MonitorPtr Get(console::engine::MonitorId id) const;
  [[nodiscard]] console::engine::MonitorSnapshot All() const;
  /// Waits until something changed after the number that an earlier call gave (0: nothing seen yet), or until
  /// the time is over. Returns the number of the current state.
  [[nodiscard]] std::uint64_t WaitForUpdate(std::uint64_t seen, std::chrono::milliseconds time) const;
  /// Has `callback` run on the link's thread after each change of what readers see. It must not throw nor
  /// call the mirror; an earlier one runs no more when this returns.
  void OnUpdate(std::function<void()> callback);

 private:
  using Record = console::engine::MonitorPtr;
  struct Table {
    std::vector<Record*> inOrder;  ///< by id; the places are those of `byId`, which stay
    std::unordered_map<console::engine::MonitorId, Record> byId;
    std::unordered_map<std::string_view, console::engine::MonitorId> byName;  ///< views of the records' names

    void Remove(capnp::List<std::uint64_t>::Reader ids);
    void Put(std::vector<Record> records);
  };

  void CheckFollowing() const;
  void ReportUpdate();

  std::vector<std::string> m_wireKeys;
  std::vector<console::engine::MonitorTypeInfo> m_types;
  std::array<unsigned, console::engine::KnownKeys.size()> m_sources{};  ///< index of each in m_wireKeys
  std::vector<unsigned> m_unknown;  ///< indexes of m_wireKeys that this program does not know
  std::optional<Table> m_next;      ///< the table being received; only the link's thread touches it

  mutable std::mutex m_mutex;  ///< guards all below
  mutable std::condition_variable m_updated;
  std::function<void()> m_onUpdate;
  State m_state = State::NeverReached;
  Table m_table;
  std::uint64_t m_change = 0;
  std::uint64_t m_updates = 0;
};

}  // namespace norvane::link
