#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "settings/Rules.h"
#include "settings/Type.h"

namespace norvane::settings {

// The rules that a wizard can have.
namespace wizard {
extern const Rule WebUrl, WebFlag, Pager, PopPager, CallType, PopPoint, PopAccount, SmtpPoint, SmtpFrom,
    SmtpTo, SmtpToAt;
}  // namespace wizard

/// Judges the name, trimmed, that a new monitor of the type is to have. Without a name the failure has no
/// message. `exists` returns whether a monitor of that full name exists.
[[nodiscard]] std::optional<RuleFailure> CheckName(std::string_view typeName, const std::string& name,
                                                   const std::function<bool(const std::string&)>& exists);

/// Judges all fields of a wizard, the name first. `txtMonitorName` and the web wizard's `txtMonitorPoint`
/// lose their outer blanks, also when a later rule fails.
[[nodiscard]] std::optional<RuleFailure> CheckNewMonitor(
    const Type& type, Fields& form, const std::function<bool(const std::string&)>& exists);

}  // namespace norvane::settings
