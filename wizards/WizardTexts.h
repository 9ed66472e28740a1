#pragma once

#include "settings/ByType.h"

// What the wizards' common controls say differently in each.
namespace norvane::wizards {

using Texts = settings::ByType<const char*>;

inline constexpr Texts Captions{"Add WebMonitor Wizard", "Add Pop3Monitor Wizard", "Add SmtpMonitor Wizard"};
inline constexpr Texts SampleNames{"", "example", "example"};
inline constexpr Texts Frame2Captions{"Notify Mode", "", "Notification mode"};

namespace detail {
inline constexpr Texts Name{"Descriptive name of the monitor", "Descriptive name of the monitor", ""};
inline constexpr Texts Number{"", "Contact number of the person who will be notified of the server failure",
                              ""};
inline constexpr Texts Message{"", "Short descriptive message about the server problem", ""};
}  // namespace detail

struct ToolTip {
  const char* control;
  Texts text;
};
inline constexpr ToolTip ToolTips[] = {
    {"Label5_0", detail::Name},         {"txtMonitorName", detail::Name}, {"label1_9", detail::Number},
    {"txtPagerNumber", detail::Number}, {"label1_11", detail::Message},   {"txtPagerMsg", detail::Message},
};

}  // namespace norvane::wizards
