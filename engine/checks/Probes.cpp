#include <array>

#include "console/engine/MonitorKeys.h"
#include "engine/checks/ProbeType.h"
#include "engine/checks/probes/Pop3Probe.h"
#include "engine/checks/probes/SmtpProbe.h"
#include "engine/checks/probes/WebProbe.h"

namespace norvane::engine {

std::span<const ProbeRow> ProbeTable() {
  static constexpr std::array<ProbeRow, 3> rows{{{console::engine::TypeWeb, &MakeWebType},
                                                 {console::engine::TypePop3, &MakePop3Type},
                                                 {console::engine::TypeSmtp, &MakeSmtpType}}};
  return rows;
}

}  // namespace norvane::engine
