#pragma once

#include <memory>

#include "engine/notify/Channel.h"

namespace norvane::engine {

/// Mails the request's body to its address through the server of the mode, as told at `MakeMailTransfer`; the
/// mode's sender is the mail's. No copy goes anywhere.
[[nodiscard]] std::unique_ptr<Channel> MakeMailChannel(const ChannelContext& context);

}  // namespace norvane::engine
