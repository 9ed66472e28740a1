#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "settings/Rules.h"

namespace norvane::settings {

/// The name that a new monitor of the type is to have, in `txtMonitorName`, which loses its outer blanks.
/// Without a name the failure has no message. `exists` tells whether a monitor of that full name stands
/// already.
[[nodiscard]] std::optional<RuleFailure> CheckName(std::string_view typeName, Fields& form,
                                                   const std::function<bool(const std::string&)>& exists);

/// Judges all fields of a wizard, the name first. The web wizard's `txtMonitorPoint` loses its outer blanks,
/// also when a later rule fails.
[[nodiscard]] std::optional<RuleFailure> CheckNewMonitor(
    Type type, Fields& form, const std::function<bool(const std::string&)>& exists);

}  // namespace norvane::settings
