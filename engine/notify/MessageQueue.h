#pragma once

#include <string>

#include "engine/model/OwedMessage.h"

namespace norvane::engine {

/// Messages of the same one share a server.
std::string QueueOf(const OwedMessage& message);
/// To whom it is still to be sent.
const std::string& RecipientsOf(const OwedMessage& message);
/// The same for a recipient at that server.
std::string AddressOf(const OwedMessage& message);
/// Whether it may become part of a digest.
bool MayGather(const OwedMessage& message);

}  // namespace norvane::engine
