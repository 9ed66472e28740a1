#include "engine/checks/ProbeTable.h"

#include <array>

#include "console/engine/MonitorKeys.h"
#include "engine/checks/ProbeType.h"

namespace norvane::engine {

// A type of check is a file in probes/, which defines one of these, and a row below.
std::unique_ptr<ProbeType> MakePop3Type(ProbeContext& context);
std::unique_ptr<ProbeType> MakeSmtpType(ProbeContext& context);
std::unique_ptr<ProbeType> MakeWebType(ProbeContext& context);

MonitorTypes ProbeTable() {
  static constexpr std::array rows{MonitorType{console::engine::TypeWeb, true, &MakeWebType},
                                   MonitorType{console::engine::TypePop3, true, &MakePop3Type},
                                   MonitorType{console::engine::TypeSmtp, true, &MakeSmtpType}};
  return rows;
}

}  // namespace norvane::engine
