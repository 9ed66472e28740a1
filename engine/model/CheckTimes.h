#pragma once

#include <chrono>
#include <string>

#include "engine/model/Attributes.h"

namespace norvane::engine {

/// How often a monitor is checked and how long a check may take, from its attributes: clamped to the limits,
/// the default for what is not a number above 0.
struct CheckTimes {
  std::chrono::milliseconds interval;
  std::chrono::milliseconds timeout;
  /// What was wrong with the attributes, for the log; empty if nothing was.
  std::string remark;

  [[nodiscard]] static CheckTimes Of(const Attributes& attributes);
};

}  // namespace norvane::engine
