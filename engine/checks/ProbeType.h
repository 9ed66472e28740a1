#pragma once

#include <chrono>
#include <memory>

#include "engine/model/MonitorType.h"
#include "engine/model/Requests.h"
#include "engine/net/Probe.h"

namespace norvane::engine {

/// The checks of one type of monitor, with what they share (a pool of handles, for instance). Outlives them.
class ProbeType {
 public:
  virtual ~ProbeType() = default;
  /// `target` and `client` outlive the probe. `timeout` is what the check has in all.
  [[nodiscard]] virtual std::unique_ptr<Probe> Make(const CheckTarget& target,
                                                    std::chrono::milliseconds timeout,
                                                    ProbeClient& client) = 0;
};

}  // namespace norvane::engine
