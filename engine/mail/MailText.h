#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "engine/mail/MailTransfer.h"

namespace norvane::engine {

/// `text` as the value of a header of `name` in ASCII lines (RFC 2047), each with its limit of 76 characters.
/// Control characters and bytes that are no UTF-8 become "?", so nothing in it can begin another header.
[[nodiscard]] std::string HeaderText(std::string_view name, std::string_view text);

/// The whole message with its headers in lines that end in CR LF, all but the sender's and the recipient's
/// addresses in ASCII: a body that is not, or has lines too long for SMTP, travels as base64. `sender` names
/// the machine that sends, `messageId` is unique.
[[nodiscard]] std::string MessageText(const Mail& mail, std::string_view sender, std::string_view messageId,
                                      std::chrono::system_clock::time_point date);

/// `message` as it is sent after DATA: dots that begin a line are doubled, and a single dot, whose line end
/// is left to the sender, ends it (RFC 5321, 4.5.2).
[[nodiscard]] std::string DotStuffed(std::string_view message);

}  // namespace norvane::engine
