#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "engine/net/ServerAddress.h"
#include "platform/IniFile.h"

namespace norvane::engine {

/// What a section "[mail SERVER]" of config.ini says of a mail server.
struct MailServerSettings {
  enum class Security {
    Opportunistic,  ///< TLS if the server offers it, without asking who it is
    StartTls,       ///< by STARTTLS, with a certificate that is verified
    Tls,            ///< likewise, from the first byte
  };
  std::string user{};          ///< empty: no logon
  std::string passwordFile{};  ///< path
  Security security = Security::Opportunistic;
  std::string from{};   ///< replaces the sender of a notification mode, unless empty
  std::string error{};  ///< why nothing goes to the server, for the user; empty if it does

  [[nodiscard]] bool PromisesTls() const { return security != Security::Opportunistic; }
};

/// The mail servers of config.ini. A section for a host alone holds for all its ports that have none.
class MailServerTable {
 public:
  /// `section` is named "mail SERVER", with a SERVER as in `Mail`; the first one for a server counts.
  /// Relative paths are below `folder`. Gives what is wrong with the section, for a log; empty if nothing is.
  /// A server about which something is wrong gets no mails, rather than mails with less security.
  std::string Add(const platform::IniFile::Section& section, const std::string& folder);

  /// Of `server` as in `Mail`; defaults if there is no section for it. Good until the table changes.
  [[nodiscard]] const MailServerSettings& Find(std::string_view server) const;

  /// Whether a section of config.ini is for `Add`.
  [[nodiscard]] static bool IsMailServer(std::string_view section);

 private:
  std::map<std::pair<std::string, int>, MailServerSettings> m_servers;  // by host in capitals, and port or 0
  MailServerSettings m_others;
};

/// The schemes of SMTP.
inline constexpr ServerSchemes MailSchemes{"smtp", 25, "smtps", 465};

/// The first line of the file, which nobody but its owner may have access to. Throws std::runtime_error with
/// the reason, for the user.
[[nodiscard]] std::string ReadPassword(const std::string& path);

}  // namespace norvane::engine
