#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/AttributeRules.h"
#include "text/Mistakes.h"
#include "text/MonitorLines.h"

namespace norvane::text {

/// A monitor as files describe it: whole, but that state and password stay as they are where nothing is said
/// of them.
struct DescribedMonitor {
  std::string name;  ///< full
  Place place;
  AttributeValues values;  ///< all others have their defaults
};

/// What files say. With a mistake in them nothing of it counts.
struct Description {
  std::vector<std::string> files;  ///< their names, for places
  std::vector<DescribedMonitor> monitors;
  Mistakes mistakes;
};

/// Reads files of monitors, and those that they include; of a folder all that end in ".yaml" or ".yml".
/// `types` are the types of monitor that there may be.
[[nodiscard]] Description ReadMonitorFiles(const std::vector<std::string>& paths,
                                           std::span<const std::string_view> types = MonitorTypes);

/// The same of a text, which can include nothing.
[[nodiscard]] Description ReadMonitorText(std::string_view text,
                                          std::span<const std::string_view> types = MonitorTypes);

}  // namespace norvane::text
