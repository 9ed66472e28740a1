#pragma once

#include <string>
#include <string_view>

namespace norvane::formats {

/// How a monitor notifies: the text of its attribute in parts, which are not checked. Both sides read it here
/// and differ in two points:
/// - The engine makes an internet call to any address of http or https that has two "%s". A form shows only
///   those that begin with an address of its gateway, and finds the pager type in them; any other it shows as
///   no notification, and keeps.
/// - A form reads the text in capitals (Unicode's), which so is what it shows and stores of a mail server.
struct NotifyMode {
  enum class Form {
    None,          ///< empty
    Mail,          ///< "SMTP://server;sender"
    Phone,         ///< "TEL://", whatever follows
    InternetCall,  ///< an address of http or https with two "%s", for the message and for the number
    Unknown,
    Exit,  ///< never parsed: a message for an exit of config.ini has no mode
  };
  Form form = Form::None;
  std::string server;  ///< of a mail; empty without a semicolon
  std::string sender;  ///< of a mail; all behind the first semicolon
  /// Of an internet call: what is before, between and behind the two "%s".
  std::string beforeMessage, beforeNumber, afterNumber;

  /// Accepts any text, prefixes and "%s" in any letter case.
  [[nodiscard]] static NotifyMode Parse(std::string_view text);
};

inline constexpr std::string_view PhoneMode = "TEL://";
[[nodiscard]] std::string MailMode(std::string_view server, std::string_view sender);

}  // namespace norvane::formats
