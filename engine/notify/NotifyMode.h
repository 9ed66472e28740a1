#pragma once

#include <string>
#include <string_view>

namespace norvane::engine {

/// What the attribute "Monitor_Notify Mode" asks for. The texts are those of the attribute, not checked.
struct NotifyMode {
  enum class Form {
    None,          ///< empty
    Mail,          ///< "SMTP://server;sender"
    Phone,         ///< "TEL://", whatever follows
    InternetCall,  ///< an address of http or https with two "%s", for the message and for the number
    Unknown,
  };
  Form form = Form::None;
  std::string server;  ///< of a mail; empty without a semicolon, as the settings page shows it
  std::string sender;  ///< of a mail; all behind the first semicolon
  /// Of an internet call: what stands before, between and behind the two "%s".
  std::string beforeMessage, beforeNumber, afterNumber;

  /// Takes any text. Prefixes and "%s" are recognised in any letter case: the settings page stores capitals.
  [[nodiscard]] static NotifyMode Parse(std::string_view text);
};

/// The address that an internet call fetches: message and number percent-encoded, byte by byte, but for what
/// RFC 3986 (2.3) calls unreserved.
[[nodiscard]] std::string InternetCallUrl(const NotifyMode& mode, std::string_view message,
                                          std::string_view number);

}  // namespace norvane::engine
