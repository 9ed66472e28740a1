#pragma once

#include <string>
#include <string_view>

#include "console/engine/MonitorRecord.h"
#include "text/MonitorLines.h"

namespace norvane::text {

enum class Secrets { Hidden, Shown };

/// A file that describes these monitors, and nothing else. `folder` is the engine's. A hidden secret leaves a
/// comment.
[[nodiscard]] std::string TextOf(const console::engine::MonitorSnapshot& monitors, const std::string& folder,
                                 Secrets secrets);

/// A scalar of YAML in one line.
[[nodiscard]] std::string ScalarText(std::string_view value,
                                     MonitorLine::Style style = MonitorLine::Style::Text);

}  // namespace norvane::text
