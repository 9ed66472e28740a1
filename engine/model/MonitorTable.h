#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/model/MonitorType.h"
#include "engine/model/Requests.h"

namespace norvane::engine {

/// What the engine knows of a monitor's last check, for display.
struct LastCheck {
  bool any = false;
  std::chrono::system_clock::time_point at;
  std::chrono::milliseconds duration{0};
  int failuresInARow = 0;
  std::chrono::system_clock::time_point since;  ///< end of the first check in a row that went as this one did
};

struct Monitor {
  MonitorId id = 0;
  std::string name;
  std::shared_ptr<const Attributes> attributes;
  LastCheck lastCheck;
  /// While the monitor runs: from then on its last check is too old.
  std::chrono::steady_clock::time_point overdueAt{};
  std::uint64_t change = 0;         ///< number of the last change to name or attributes
  std::uint64_t settingChange = 0;  ///< of the last one to anything but its result

  [[nodiscard]] bool Running() const;
};

[[nodiscard]] bool IsEnabled(const Attributes& attributes);

/// All monitors, in the order in which they were added, with a record of what changed when: whoever remembers
/// the number of the last change it saw can ask for all later ones. Change numbers and ids of a younger
/// generation are greater than all of an older one. Not for several threads at once.
class MonitorTable {
 public:
  /// Accepts monitors of these types only.
  MonitorTable(std::uint32_t generation, MonitorTypes types);
  MonitorTable(MonitorTable&&) noexcept = default;
  MonitorTable& operator=(MonitorTable&&) noexcept = default;

  [[nodiscard]] std::uint32_t Generation() const { return m_generation; }
  [[nodiscard]] std::size_t Count() const { return m_monitors.size(); }
  [[nodiscard]] const std::map<MonitorId, Monitor>& All() const { return m_monitors; }
  /// Null if there is none. The pointer holds until the monitor is removed.
  [[nodiscard]] const Monitor* Find(MonitorId id) const;
  [[nodiscard]] const Monitor* Find(std::string_view fullName) const;

  /// Throws EngineError: Invalid (not of the form TYPE Of NAME, unknown type, control characters), Exists.
  void RequireNew(std::string_view fullName) const;
  /// Throws what `RequireNew` does, and EngineError (Full). `number` is the lower half of the id; 0 means the
  /// next free one.
  const Monitor& Add(std::string_view fullName, Attributes attributes, std::uint32_t number = 0);
  /// Throws EngineError (NotFound).
  void Remove(MonitorId id);
  /// Throws EngineError (NotFound, Invalid). Setting the present value changes nothing.
  void Set(MonitorId id, std::string_view key, std::string value);
  /// All attributes at once. Throws EngineError (NotFound).
  void Replace(MonitorId id, std::shared_ptr<const Attributes> attributes);
  /// A change, as a result is, only if since when it is so is another: observers see that, but not each
  /// check. Unknown ids are ignored.
  void NoteCheck(MonitorId id, const LastCheck& lastCheck);
  /// No change. Unknown ids are ignored.
  void ExpectCheck(MonitorId id, std::chrono::steady_clock::time_point overdueAt);

  [[nodiscard]] std::uint64_t LastChange() const { return m_lastChange; }
  /// The monitor that changed first after `change`, by change number; null if none did.
  [[nodiscard]] const Monitor* NextChanged(std::uint64_t change) const;
  /// The same for changes that aren't mere results, which come with every check.
  [[nodiscard]] const Monitor* NextSettingChanged(std::uint64_t change) const;
  /// Ids removed after `change`, oldest first.
  [[nodiscard]] std::vector<MonitorId> RemovedSince(std::uint64_t change) const;

 private:
  Monitor& Get(MonitorId id);
  void Touch(Monitor& monitor, bool isResult = false);

  MonitorTypes m_types;
  std::uint32_t m_generation;
  std::uint32_t m_lastNumber = 0;
  std::uint64_t m_lastChange;
  std::map<MonitorId, Monitor> m_monitors;
  std::unordered_map<std::string_view, Monitor*> m_byName;  // views of the names in m_monitors
  using ByChange = std::map<std::uint64_t, Monitor*>;
  static const Monitor* NextIn(const ByChange& order, std::uint64_t change);
  ByChange m_byChange;
  ByChange m_bySettingChange;
  std::map<std::uint64_t, MonitorId> m_removed;
};

}  // namespace norvane::engine
