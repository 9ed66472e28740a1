#pragma once

#include <memory>

#include "engine/checks/ProbeType.h"

namespace norvane::engine {

/// The check of a POP3 monitor (RFC 1939): logs on to the server at "Monitor_Parameter" with
/// "MonitorExt_PopAccount" and "MonitorExt_PopPass", and is good when the mailbox holds at least one mail,
/// none of which it touches. Logs on by APOP where the server offers it, and by USER and PASS when that is
/// refused, since servers offer APOP to accounts that cannot use it.
///
/// TLS: with the scheme pop3s the certificate is promised and verified. Otherwise STLS is used when it is
/// offered, without asking who the server is, since whoever could pretend to be it could as well hide the
/// offer (RFC 7435). A server that offers it never gets the password in the clear: if TLS then fails, so does
/// the check.
[[nodiscard]] std::unique_ptr<ProbeType> MakePop3Type(ProbeContext& context);

}  // namespace norvane::engine
