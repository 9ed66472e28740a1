#pragma once

#include <chrono>
#include <memory>
#include <span>
#include <string_view>

#include "engine/model/CheckRunner.h"
#include "engine/net/Probe.h"

namespace norvane::engine {

/// A type of check, with what its probes share (a pool of handles, for instance). Outlives them.
class ProbeType {
 public:
  virtual ~ProbeType() = default;
  /// `target` and `client` outlive the probe. `timeout` is what the check has in all.
  [[nodiscard]] virtual std::unique_ptr<Probe> Make(const CheckTarget& target,
                                                    std::chrono::milliseconds timeout,
                                                    ProbeClient& client) = 0;
};

/// A row of the table of types; a new type of check is its own file and one row.
struct ProbeRow {
  std::string_view type;  ///< as it stands at the head of a monitor's full name
  std::unique_ptr<ProbeType> (*make)(ProbeContext&);
};
[[nodiscard]] std::span<const ProbeRow> ProbeTable();

}  // namespace norvane::engine
