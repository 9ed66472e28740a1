#pragma once

#include <array>
#include <string_view>

#include "console/engine/MonitorKeys.h"

namespace norvane::text {

/// How a setting's text becomes an attribute's.
enum class Form {
  Text,
  Seconds,  ///< a time such as "30s", which the engine has in seconds
  Number,
  State,  ///< "running" or "stopped"
  FoundText,
  FoundSize,
  FoundSum,  ///< kinds of success flag
  MailServer,
  MailSender,  ///< parts of the notification mode, of a mail
  File,        ///< the value is in the file of that name
};

/// By what a notification goes; the settings of one exclude those of another.
enum class Way { Any, Mail, Phone, Call };

/// A setting in a file of monitors.
struct ShortName {
  std::string_view group;  ///< the map in which it stands, if any
  std::string_view name;
  std::string_view key;   ///< the attribute of which it says all or a part
  std::string_view type;  ///< of monitor, if it is for one alone
  Form form = Form::Text;
  Way way = Way::Any;
};

/// In the order in which they are written.
inline constexpr auto ShortNames = [] {
  namespace ce = console::engine;
  namespace keys = ce::keys;
  using enum Form;
  return std::to_array<ShortName>({
      {"", "url", keys::Parameter, ce::TypeWeb},
      {"", "server", keys::Parameter, ""},
      {"", "account", keys::PopAccount, ce::TypePop3},
      {"", "password", keys::PopPass, ce::TypePop3},
      {"", "password_file", keys::PopPass, ce::TypePop3, File},
      {"", "from", keys::From, ce::TypeSmtp},
      {"", "to", keys::To, ce::TypeSmtp},
      {"expect", "text", keys::SuccessFlag, ce::TypeWeb, FoundText},
      {"expect", "size", keys::SuccessFlag, ce::TypeWeb, FoundSize},
      {"expect", "sum", keys::SuccessFlag, ce::TypeWeb, FoundSum},
      {"", "interval", keys::Interval, "", Seconds},
      {"", "timeout", keys::Timeout, "", Seconds},
      {"", "outage_after", keys::FailTimes, "", Number},
      {"", "tries", keys::MaxFailTimes, "", Number},
      {"command", "run", keys::Command, ""},
      {"command", "on_recovery", keys::CommandSucc, ""},
      {"notify", "mail", keys::NotifyPager, "", Text, Way::Mail},
      {"notify", "via", keys::NotifyMode, "", MailServer, Way::Mail},
      {"notify", "from", keys::NotifyMode, "", MailSender, Way::Mail},
      {"notify", "phone", keys::NotifyPager, "", Text, Way::Phone},
      {"notify", "call", keys::NotifyMode, "", Text, Way::Call},
      {"notify", "number", keys::NotifyPager, "", Text, Way::Call},
      {"notify", "message", keys::NotifyMsg, ""},
      {"", "parent", keys::Parent, ""},
      {"", "log", keys::LogFile, ""},
      {"", "state", keys::Status, "", State},
  });
}();

inline constexpr std::string_view StateRunning = "running";
inline constexpr std::string_view StateStopped = "stopped";

}  // namespace norvane::text
