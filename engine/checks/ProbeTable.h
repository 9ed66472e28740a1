#pragma once

#include "engine/model/MonitorType.h"

namespace norvane::engine {

/// The types that this engine checks.
[[nodiscard]] MonitorTypes ProbeTable();

}  // namespace norvane::engine
