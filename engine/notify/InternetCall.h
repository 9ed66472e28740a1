#pragma once

#include <memory>

#include "engine/notify/Channel.h"

namespace norvane::engine {

/// Fetches the address of the internet call form (see InternetCallUrl) by GET; a reply of 2xx is success.
[[nodiscard]] std::unique_ptr<Channel> MakeInternetCallChannel(const ChannelContext& context);

}  // namespace norvane::engine
