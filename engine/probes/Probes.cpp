#include <array>

#include "console/engine/MonitorKeys.h"
#include "engine/probes/Pop3Probe.h"
#include "engine/probes/Probe.h"
#include "engine/probes/SmtpProbe.h"
#include "engine/probes/WebProbe.h"

namespace norvane::engine {

std::span<const ProbeRow> ProbeTable() {
  static constexpr std::array<ProbeRow, 3> rows{{{console::engine::TypeWeb, &MakeWebType},
                                                 {console::engine::TypePop3, &MakePop3Type},
                                                 {console::engine::TypeSmtp, &MakeSmtpType}}};
  return rows;
}

}  // namespace norvane::engine
