#pragma once

#include "settings/ByType.h"

namespace norvane::pages {

/// The tool tip of a control that all pages have, on the tabs "Notification" and "Command". An empty text is
/// none.
struct ToolTip {
  const char* control;
  settings::ByType<const char*> text;
};

namespace detail {
using settings::All;

[[nodiscard]] constexpr settings::ByType<const char*> OnPop3(const char* text) {
  return {"", text, ""};
}

inline constexpr char EmailAddr[] = "Email address of the person to contact in the event of server failure";
inline constexpr char Subject[] = "subject of the email message";
inline constexpr char SmtpServer[] = "Server through which the email message will be sent";
inline constexpr char PagerNumber[] = "Pager or mobile phone number of the contact person";
inline constexpr char RetryTimes[] =
    "No. of failures permissible before a notification message is sent to the administrator";
inline constexpr char LaunchUpCmd[] =
    "Enter the command file (Optional) to execute upon successful restart of the server";
inline constexpr char LogFile[] =
    "Path and name of the log file in which the server activities will be recorded(Recommended:use %d%m%y in "
    "your filename if you wish to extract the system date to uniquely identify the fiel)";
}  // namespace detail

inline constexpr ToolTip ToolTips[] = {
    {"label1_6", detail::OnPop3(detail::EmailAddr)},
    {"txtEmailAddr", detail::OnPop3(detail::EmailAddr)},
    {"label1_7", detail::OnPop3(detail::Subject)},
    {"txtSubject", detail::OnPop3(detail::Subject)},
    {"label1_8", detail::OnPop3(detail::SmtpServer)},
    {"txtSmtpServer", detail::OnPop3(detail::SmtpServer)},
    {"label1_9", detail::OnPop3(detail::PagerNumber)},
    {"txtPagerNumber", detail::OnPop3(detail::PagerNumber)},
    {"cmbPagerType", detail::OnPop3("Medium used to initiate the call")},
    {"label1_11", detail::OnPop3("Short descriptive message about the server problem")},
    {"label1_4", detail::All(detail::RetryTimes)},
    {"txtRetryTimes", detail::All(detail::RetryTimes)},
    {"label1_12", detail::All(detail::LogFile)},
    {"label1_16", detail::All(detail::LaunchUpCmd)},
    {"txtLaunchUpCmd", detail::OnPop3(detail::LaunchUpCmd)},
    {"label1_17", detail::OnPop3(detail::LogFile)},
    {"txtLogFile", detail::OnPop3(detail::LogFile)},
};

}  // namespace norvane::pages
