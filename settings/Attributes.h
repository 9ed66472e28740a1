#pragma once

#include <optional>
#include <stdexcept>
#include <string_view>

#include "console/engine/MonitorKeys.h"
#include "settings/ByType.h"
#include "settings/Fields.h"

namespace norvane::settings {

/// What one attribute of a monitor is to the forms. Values are text, numbers too, exactly as typed.
struct Attribute {
  std::string_view key;
  ByType<bool> types;              ///< which types of monitor have it
  std::optional<TextField> field;  ///< the text box of the pages that holds the value as it is
  bool wizard;                     ///< whether a new monitor gets it from its wizard
};

namespace detail {
namespace keys = console::engine::keys;
using enum TextField;
inline constexpr auto Coded = std::nullopt;    // made of several fields
inline constexpr auto NoField = std::nullopt;  // the business of commands and status poll

// clang-format off
inline constexpr Attribute Attributes[] = {
    // key                web    POP3   SMTP    field            wizard
    {keys::Parameter,    {true,  true,  true }, txtMonitorPoint, true },
    {keys::SuccessFlag,  {true,  false, false}, Coded,           true },
    {keys::PopAccount,   {false, true,  false}, txtPop3Account,  true },
    {keys::PopPass,      {false, true,  false}, txtPop3Password, true },
    {keys::From,         {false, false, true }, txtSmtpFrom,     true },
    {keys::To,           {false, false, true }, txtSmtpTo,       true },
    {keys::Interval,     {true,  true,  true }, txtInterval,     false},
    {keys::Timeout,      {true,  true,  true }, txtWaitTime,     false},
    {keys::MaxFailTimes, {true,  true,  true }, txtRetryTimes,   false},
    {keys::FailTimes,    {true,  true,  true }, txtRetrytime,    false},
    {keys::NotifyMode,   {true,  true,  true }, Coded,           true },
    {keys::NotifyPager,  {true,  true,  true }, Coded,           true },
    {keys::NotifyMsg,    {true,  true,  true }, Coded,           true },
    {keys::Command,      {true,  true,  true }, txtLaunchCmd,    false},
    {keys::CommandSucc,  {true,  true,  true }, txtLaunchUpCmd,  false},
    {keys::LogFile,      {true,  true,  true }, txtLogFile,      true },
    {keys::Status,       {true,  true,  true }, NoField,         false},
    {keys::Result,       {true,  true,  true }, NoField,         false},
};
// clang-format on
}  // namespace detail

using detail::Attributes;

/// The text box that holds the attribute `key` as it is. Meant for constants, so that asking for an attribute
/// without one does not compile.
[[nodiscard]] constexpr TextField FieldOf(std::string_view key) {
  for (const auto& attribute : Attributes)
    if (attribute.key == key && attribute.field) return *attribute.field;
  throw std::logic_error("no text box holds this attribute as it is");
}

}  // namespace norvane::settings
