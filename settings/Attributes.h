#pragma once

#include <stdexcept>
#include <string_view>

#include "console/engine/MonitorKeys.h"
#include "settings/Fields.h"

namespace norvane::settings {

/// An attribute whose value is the text of one field, exactly as typed.
struct Attribute {
  std::string_view key;
  TextField field;
};

namespace detail {
namespace keys = console::engine::keys;
using enum TextField;

inline constexpr Attribute Attributes[] = {
    {keys::Parameter, txtMonitorPoint},
    {keys::PopAccount, txtPop3Account},
    {keys::PopPass, txtPop3Password},
    {keys::From, txtSmtpFrom},
    {keys::To, txtSmtpTo},
    {keys::Interval, txtInterval},
    {keys::Timeout, txtWaitTime},
    {keys::MaxFailTimes, txtRetryTimes},
    {keys::FailTimes, txtRetrytime},
    {keys::Command, txtLaunchCmd},
    {keys::CommandSucc, txtLaunchUpCmd},
    {keys::LogFile, txtLogFile},
};
}  // namespace detail

/// The text box that holds the attribute `key` as it is. Meant for constants, so that asking for an attribute
/// without one does not compile.
[[nodiscard]] constexpr TextField FieldOf(std::string_view key) {
  for (const auto& attribute : detail::Attributes)
    if (attribute.key == key) return attribute.field;
  throw std::logic_error("no text box holds this attribute as it is");
}

}  // namespace norvane::settings
