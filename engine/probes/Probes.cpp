#include <array>

#include "console/engine/MonitorKeys.h"
#include "engine/probes/Probe.h"
#include "engine/probes/WebProbe.h"

namespace norvane::engine {

std::span<const ProbeRow> ProbeTable() {
  static constexpr std::array<ProbeRow, 1> rows{{{console::engine::TypeWeb, &MakeWebType}}};
  return rows;
}

}  // namespace norvane::engine
