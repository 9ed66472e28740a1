#pragma once

#include <array>
#include <string_view>

#include "console/engine/MonitorKeys.h"

namespace norvane::engine {

/// The types that the engine offers, in the order in which it lists them.
inline constexpr std::array<std::string_view, 3> MonitorTypes = {
    console::engine::TypeWeb, console::engine::TypePop3, console::engine::TypeSmtp};

[[nodiscard]] constexpr bool IsMonitorType(std::string_view name) {
  for (const auto type : MonitorTypes) {
    if (type == name) return true;
  }
  return false;
}

}  // namespace norvane::engine
