#pragma once

#include <memory>

#include "engine/checks/ProbeType.h"

namespace norvane::engine {

/// The check of an SMTP monitor: sends one small mail, whose subject names the monitor, through the server at
/// "Monitor_Parameter" from "MonitorExt_From" to "MonitorExt_To", as told at `MakeMailTransfer`.
[[nodiscard]] std::unique_ptr<ProbeType> MakeSmtpType(ProbeContext& context);

}  // namespace norvane::engine
