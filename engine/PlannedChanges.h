#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "console/engine/MonitorChange.h"
#include "engine/model/MonitorTable.h"

namespace norvane::engine {

/// What becomes of one monitor.
struct PlannedChange {
  const Monitor* monitor = nullptr;  ///< none: it is new
  std::string name;
  std::shared_ptr<const Attributes> attributes;  ///< none: it goes
};

/// What `changes` make of the table, all of them or none: whatever the engine would refuse of any is thrown
/// as EngineError here, before anything is done. Refuses too what is based on another state of a monitor than
/// that of change number `basedOn`. Changes nothing; done in the order given, the table refuses nothing of
/// it.
[[nodiscard]] std::vector<PlannedChange> PlanChanges(
    const MonitorTable& table, const std::vector<console::engine::MonitorChange>& changes,
    std::uint64_t basedOn);

}  // namespace norvane::engine
