#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "engine/net/Probe.h"

namespace norvane::engine {

/// A mail that a program sends. Text is UTF-8.
struct Mail {
  /// Host, host:port, IPv4, [IPv6], or an address of scheme smtp or smtps; letter case has no meaning.
  std::string server;
  std::string from;  ///< address alone, without a name or angle brackets; blanks around it do no harm
  std::vector<std::string> to;  ///< likewise
  std::string subject;          ///< one line; what could break out of it is shown as "?"
  std::string body;             ///< lines end in "\n"
  /// Heads the Message-ID, so that a repetition can be recognised; empty: made at random.
  std::string identity{};
  /// If TLS fails with a server for which nobody promised it, the mail goes without.
  bool goesInTheClear = false;
};

class MailConnections;

/// Sends `mail` by SMTP (RFC 5321), marked as automatic (RFC 3834): good when the server has accepted it.
///
/// TLS: with the scheme smtps, or when the server's settings (`MailServerTable`) say so, the certificate is
/// promised and verified, and nothing goes out without it. Otherwise STARTTLS is used when it is offered,
/// without asking who the server is, since whoever could pretend to be it could as well hide the offer
/// (RFC 7435); when the server then refuses it, the mail goes in the clear, as it holds no secret, and by
/// another connection if TLS fails and `goesInTheClear` is set.
///
/// With a user in the settings it logs on (RFC 4954), always under a verified certificate.
///
/// A mail goes through one of `connections` if there is one to its server, and leaves its own there. A kept
/// one that is closed or refuses before it has been given the message is replaced by a new one.
///
/// It goes to those of several recipients whom the server accepts, and then fails if it does not go to all.
///
/// A failure reads like "SMTP: RCPT TO refused: 550 no such user". Destroying the transfer gives it up;
/// the time-out is the caller's business, `timeout` only shares it among the server's addresses. A client
/// that heeds `BeginStep` gives the server what RFC 5321 (4.5.3.2) wants for each step.
[[nodiscard]] std::unique_ptr<Probe> MakeMailTransfer(ProbeContext& context, Mail mail,
                                                      std::chrono::milliseconds timeout, ProbeClient& client,
                                                      MailConnections* connections = nullptr);

}  // namespace norvane::engine
