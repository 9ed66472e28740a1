#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "settings/Rules.h"
#include "settings/Type.h"

namespace norvane::settings {

// The rules that a page can have.
namespace page {
extern const Rule WebPoint, PopPoint, SmtpPoint, PopAccount, SmtpFrom, SmtpTo, SmtpToAt, Interval, WaitTime,
    RetryTimes, Retrytime, LogFile, EmailAddr, EmailServer, PagerNumber, LaunchCmd, LaunchUpCmd;
}  // namespace page

/// Judges the fields of a page before anything is written. Changes no field but `txtEmailAddr`, which, with
/// `chkByEmail` checked, loses its outer blanks, also when a later rule fails. `folder` is the application
/// folder.
[[nodiscard]] std::optional<RuleFailure> Validate(const Type& type, Fields& form, std::string_view folder);

// Where the file of a command is looked for. Paths in attributes may have "\" for "/".

/// `txtLaunchCmd`: in `folder` if the text names no folder.
[[nodiscard]] std::string LaunchCmdPath(const std::string& text, std::string_view folder);

/// `txtLaunchUpCmd`: in `folder` unless the text begins with "/" or holds a ":", so "sub/up.sh" too.
[[nodiscard]] std::string LaunchUpCmdPath(const std::string& text, std::string_view folder);

}  // namespace norvane::settings
