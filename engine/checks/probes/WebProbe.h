#pragma once

#include <memory>

#include "engine/checks/ProbeType.h"

namespace norvane::engine {

/// The check of a web monitor: fetches the page at "Monitor_Parameter", as told at `MakeWebFetch`, and judges
/// it by "MonitorExt_SuccessFlag".
[[nodiscard]] std::unique_ptr<ProbeType> MakeWebType(ProbeContext& context);

}  // namespace norvane::engine
