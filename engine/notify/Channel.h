#pragma once

#include <chrono>
#include <memory>
#include <span>
#include <string>

#include "engine/model/Requests.h"
#include "engine/net/Probe.h"
#include "formats/NotifyMode.h"

namespace norvane::engine {

using formats::NotifyMode;

/// What the channels share. Outlives them.
struct ChannelContext {
  ProbeContext& probes;
  const std::string& configFile;  ///< path of "config.ini"
};

/// A way by which notifications go out, with what its sendings share. Outlives them.
class Channel {
 public:
  virtual ~Channel() = default;
  /// One sending, in the loop like a check: it ends without a failure once the peer has accepted it.
  /// `request` and `client` outlive it.
  [[nodiscard]] virtual std::unique_ptr<Probe> Make(const NotifyMode& mode, const NotifyRequest& request,
                                                    std::chrono::milliseconds timeout,
                                                    ProbeClient& client) = 0;
};

/// A row of the table of channels; a form without a row cannot be sent.
struct ChannelRow {
  NotifyMode::Form form;
  std::size_t maxInFlight;
  std::chrono::milliseconds timeout;  ///< of one sending, once it has begun, or of the first of its steps
  std::unique_ptr<Channel> (*make)(const ChannelContext&);
};
[[nodiscard]] std::span<const ChannelRow> ChannelTable();

}  // namespace norvane::engine
