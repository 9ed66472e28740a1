#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

/// Names that the console and the engine agree on. Keys are matched exactly, blanks and capitals included.
namespace norvane::console::engine {

namespace keys {
inline constexpr std::string_view Parameter = "Monitor_Parameter";
inline constexpr std::string_view SuccessFlag = "MonitorExt_SuccessFlag";
inline constexpr std::string_view Interval = "Monitor_InterVal (s)";
inline constexpr std::string_view Timeout = "Monitor_Timeout (s)";
inline constexpr std::string_view MaxFailTimes = "Monitor_MaxFailTimes";
inline constexpr std::string_view FailTimes = "Monitor_FailTimes";
inline constexpr std::string_view NotifyMode = "Monitor_Notify Mode";
inline constexpr std::string_view NotifyPager = "Monitor_Notify Pager";
inline constexpr std::string_view NotifyMsg = "Monitor_Notify Msg";
inline constexpr std::string_view Command = "Monitor_Command";
inline constexpr std::string_view CommandSucc = "Monitor_Command_Succ";
inline constexpr std::string_view LogFile = "Monitor_LogFile";
inline constexpr std::string_view PopAccount = "MonitorExt_PopAccount";
inline constexpr std::string_view PopPass = "MonitorExt_PopPass";
inline constexpr std::string_view From = "MonitorExt_From";
inline constexpr std::string_view To = "MonitorExt_To";
inline constexpr std::string_view Status = "Status";
inline constexpr std::string_view Result = "Monitor_Result";
inline constexpr std::string_view Parent = "Monitor_Parent";
}  // namespace keys

/// Every known key, in the order of the data file's columns and of the values on the wire.
inline constexpr std::array<std::string_view, 19> KnownKeys = {
    keys::Parameter,   keys::SuccessFlag, keys::Interval,    keys::Timeout,   keys::MaxFailTimes,
    keys::FailTimes,   keys::NotifyMode,  keys::NotifyPager, keys::NotifyMsg, keys::Command,
    keys::CommandSucc, keys::LogFile,     keys::PopAccount,  keys::PopPass,   keys::From,
    keys::To,          keys::Status,      keys::Result,      keys::Parent,
};

/// Whether the value is to be shown only to who asks for secrets.
[[nodiscard]] constexpr bool IsSecret(std::string_view key) {
  return key == keys::PopPass;
}

/// The position of a key in KnownKeys, if it is one of them.
[[nodiscard]] constexpr std::optional<std::size_t> KnownPosition(std::string_view key) {
  const auto found = std::ranges::find(KnownKeys, key);
  if (found == KnownKeys.end()) return std::nullopt;
  return static_cast<std::size_t>(found - KnownKeys.begin());
}

inline constexpr std::string_view StatusEnable = "Enable";
inline constexpr std::string_view StatusDisable = "Disable";
inline constexpr std::string_view ResultOk = "Ok";
/// Of a result; one that was never checked has none.
[[nodiscard]] constexpr bool IsFailure(std::string_view result) {
  return !result.empty() && result != ResultOk;
}

/// What a new monitor has: stopped, checked every minute with half a minute to answer, two tries. The numbers
/// are also the defaults for stored texts that are not numbers.
inline constexpr std::array<std::pair<std::string_view, std::string_view>, 5> NewMonitorValues = {{
    {keys::Status, StatusDisable},
    {keys::Interval, "60"},
    {keys::Timeout, "30"},
    {keys::MaxFailTimes, "2"},
    {keys::FailTimes, "2"},
}};

/// Types of monitor, the first part of a full name. The console skips `TypeServer`.
inline constexpr std::string_view TypeWeb = "WebMonitor";
inline constexpr std::string_view TypePop3 = "Pop3Monitor";
inline constexpr std::string_view TypeSmtp = "SmtpMonitor";
inline constexpr std::string_view TypeServer = "ServerMonitor";

/// A full name is the type name, this, and the name that the user gave.
inline constexpr std::string_view NameSeparator = " Of ";

/// The one service that `ServiceConfig` knows, and its values.
inline constexpr std::string_view ServiceName = "NorvaneEngine";
namespace service {
inline constexpr std::string_view BackupFile = "BackupFile";
inline constexpr std::string_view LogFile = "LogFile";
inline constexpr std::string_view ControlPass = "ControlPass";
}  // namespace service

}  // namespace norvane::console::engine
