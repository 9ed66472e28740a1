#pragma once

#include <string>
#include <vector>

#include "engine/model/OwedMessage.h"
#include "engine/model/Requests.h"

namespace norvane::engine {

/// An owed message as it is sent: if its outage is over, it says from when to when the service was down.
[[nodiscard]] NotifyRequest RequestOf(const std::string& identity, const OwedMessage& message);

/// Several mails to one address as one, each with its subject and text; not empty.
[[nodiscard]] NotifyRequest DigestOf(const std::string& identity,
                                     const std::vector<const OwedMessage*>& messages);

/// How it is sent, for people: a notification mode without a password.
[[nodiscard]] std::string ShownMode(const OwedMessage& message);
/// "notification of MONITOR", or with the exit for which it is; for the administrator.
[[nodiscard]] std::string NameOf(const OwedMessage& message);

/// That it was accepted, for a log; `together` with others.
[[nodiscard]] std::string SentText(const OwedMessage& message, std::size_t together);

/// What a message adds to a digest.
[[nodiscard]] std::size_t SizeInDigest(const OwedMessage& message);

}  // namespace norvane::engine
