#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/MonitorRecord.h"

namespace norvane::text {

/// One setting as it stands in a file.
struct MonitorLine {
  enum class Style {
    Text,
    Plain,  ///< a number, a time, a state
    Raw,    ///< text that the engine would ignore or clamp
    Bytes,  ///< not UTF-8
  };
  std::string group;  ///< may be empty
  std::string name;
  std::string value;
  Style style = Style::Text;
  bool isSecret = false;

  friend bool operator==(const MonitorLine&, const MonitorLine&) = default;
};

/// A monitor's attributes; what is not among them is empty. Results don't count.
using AttributeValues = std::map<std::string, std::string, std::less<>>;

[[nodiscard]] AttributeValues ValuesOf(const console::engine::MonitorRecord& monitor);

/// What a monitor has that nothing says otherwise of: running, and with the log file of its folder.
[[nodiscard]] std::string DefaultOf(std::string_view key, const std::string& folder);

/// The settings by which a file describes these attributes, without those that have their default, in the
/// order of `ShortNames` and each by its short name, where that says the same to the byte. `folder` is the
/// engine's.
[[nodiscard]] std::vector<MonitorLine> LinesOf(std::string_view typeName, const AttributeValues& values,
                                               const std::string& folder);

}  // namespace norvane::text
