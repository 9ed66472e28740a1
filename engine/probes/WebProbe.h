#pragma once

#include <memory>

#include "engine/probes/Probe.h"

namespace norvane::engine {

/// The check of a web monitor: fetches the page at "Monitor_Parameter" by GET, over http or https only,
/// through at most five redirects, and judges it by "MonitorExt_SuccessFlag". Certificates are verified, and
/// each request is on a fresh connection, so that a server that takes no new ones is found out.
[[nodiscard]] std::unique_ptr<ProbeType> MakeWebType(ProbeContext& context);

/// The same for an address that is fetched for what this does there: a reply that isn't 2xx is a failure.
[[nodiscard]] std::unique_ptr<ProbeType> MakeWebCallType(ProbeContext& context);

}  // namespace norvane::engine
