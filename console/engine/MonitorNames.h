#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/MonitorRecord.h"

namespace norvane::console::engine {

struct NamedMonitor {
  MonitorId id = 0;
  std::string name;  ///< full name

  bool operator==(const NamedMonitor&) const = default;
};

/// The names in a table of monitors.
class MonitorNames {
 public:
  using Visit = std::function<void(MonitorId, std::string_view)>;

  virtual ~MonitorNames() = default;
  [[nodiscard]] virtual std::optional<MonitorId> Find(std::string_view fullName) const = 0;
  /// In the table's order.
  virtual void ForEach(const Visit& visit) const = 0;
  [[nodiscard]] virtual std::vector<std::string_view> Types() const = 0;
};

/// The monitors that people name, each once: by full name ("WebMonitor Of shop"), by the user's part of it
/// ("shop") if one type alone has it, or by a pattern of either ("shop*"); all if `names` is empty. A pattern
/// looks through all names; the others cost the same however many there are. Throws EngineError: NotFound for
/// a name or pattern without a monitor, Invalid for one that stands for several.
[[nodiscard]] std::vector<NamedMonitor> SelectMonitors(const MonitorNames& table,
                                                       const std::vector<std::string>& names);

/// Whether `text` has the form of `pattern`, in which * stands for any characters and ? for one.
[[nodiscard]] bool MatchesPattern(std::string_view pattern, std::string_view text);

/// The user's part of a full name.
[[nodiscard]] std::string_view ShortName(std::string_view fullName);

}  // namespace norvane::console::engine
