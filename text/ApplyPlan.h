#pragma once

#include <string>
#include <vector>

#include "console/engine/MonitorChange.h"
#include "console/engine/MonitorRecord.h"
#include "text/MonitorFiles.h"

namespace norvane::text {

/// What is to happen so that an engine has the monitors that files describe.
struct ApplyPlan {
  std::vector<console::engine::MonitorChange> changes;
  std::size_t unchanged = 0;
  std::vector<std::string> remarks;  ///< on what would do no good, though it is possible

  /// As text, for a person to agree to; secrets are not shown.
  std::string text;
};

/// `folder` is the engine's. `prunes`: monitors that the files don't describe go.
[[nodiscard]] ApplyPlan MakePlan(const Description& description,
                                 const console::engine::MonitorSnapshot& monitors, const std::string& folder,
                                 bool prunes);

}  // namespace norvane::text
