#pragma once

#include <chrono>
#include <string>

namespace norvane::console::engine {

/// An outage that lasts.
struct OpenOutage {
  std::string monitor;                          ///< full name
  std::chrono::system_clock::time_point since;  ///< start of its first failed check
  bool isHeld = false;                          ///< the monitor's messages are
  bool operator==(const OpenOutage&) const = default;
};

}  // namespace norvane::console::engine
