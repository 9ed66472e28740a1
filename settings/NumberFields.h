#pragma once

#include <string>
#include <string_view>

#include "settings/Fields.h"

namespace norvane::settings {

/// Clamps `txtInterval` and `txtWaitTime`, both in seconds: the interval is at least 2, and a time-out
/// longer than it becomes one second shorter than it.
void ClampTimes(Fields& form);

// What a field holds after a press on its spinner's arrow. Text that is no number counts as 0.

[[nodiscard]] std::string StepUp(std::string_view text);
/// From 0 and below "0", but from 0.5 "-0.5".
[[nodiscard]] std::string StepDown(std::string_view text);

}  // namespace norvane::settings
