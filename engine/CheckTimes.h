#pragma once

#include <chrono>
#include <string>

#include "engine/Attributes.h"

namespace norvane::engine {

/// How often a monitor is checked and how long a check may take, from its attributes. What does not read as a
/// number or is out of range acts as the default.
struct CheckTimes {
  std::chrono::milliseconds interval;
  std::chrono::milliseconds timeout;
  /// What was wrong with the attributes, for the log; empty if nothing was.
  std::string remark;

  [[nodiscard]] static CheckTimes Of(const Attributes& attributes);
};

}  // namespace norvane::engine
