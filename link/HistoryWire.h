#pragma once

#include "console/engine/MonitorHistory.h"
#include "link/engine.capnp.h"

namespace norvane::link {

void WriteHistory(const console::engine::MonitorHistory& from, wire::History::Builder to);
[[nodiscard]] console::engine::MonitorHistory ReadHistory(wire::History::Reader from);

}  // namespace norvane::link
