#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "engine/model/SendFailure.h"
#include "engine/net/EventLoop.h"
#include "engine/net/Resolver.h"
#include "engine/net/TlsClient.h"
#include "platform/LegacyCharset.h"

namespace norvane::engine {

class LoopQueue;
class MailServerTable;
class PageQuota;
class ThreadPool;

/// What the probes of every type share. Outlives them.
struct ProbeContext {
  EventLoop& loop;
  Resolver& resolver;
  TlsClient& tls;
  const platform::LegacyCharset& charset;  ///< in which the size of a page is counted
  PageQuota& pageQuota;
  LoopQueue& calls;  ///< into the loop
  ThreadPool& pool;  ///< for what would hold the loop up
  const MailServerTable& mailServers;
};

/// Gets the outcome of a probe, and owns the events of the probe: what one of them throws ends it too.
class ProbeClient : public EventOwner {
 public:
  /// Comes at most once. An empty `failure` is a success; the text may hold bytes from outside. Destroys the
  /// probe, which therefore touches nothing of its own afterwards.
  virtual void Ended(std::string failure) noexcept = 0;
  /// The peer has done its part; what is still to come isn't its business.
  virtual void Arrived() {}
  /// One of several steps begins; the peer has `limit` to answer it.
  virtual void BeginStep(std::chrono::milliseconds limit) { static_cast<void>(limit); }
};

/// One exchange with a peer, in the worker's loop; never blocks it. Destroying it gives up and leaves
/// nothing open. The time-out is the client's business.
class Probe {
 public:
  virtual ~Probe() = default;
  /// Called once; may end the probe at once. What it throws ends the probe too.
  virtual void Begin() = 0;
  /// What the probe is waiting for ("connecting"), for the reason of a check that ran out of time.
  [[nodiscard]] virtual std::string_view Step() const = 0;
  /// It waits for a turn of this engine rather than for a peer.
  [[nodiscard]] virtual bool IsQueued() const { return false; }
  /// As a notification ends with a failure.
  [[nodiscard]] virtual SendFailure WhatFailed() const { return {}; }
  /// As it ends with a failure: the peer wants no further try for so long.
  [[nodiscard]] virtual std::chrono::seconds RetryAfter() const { return {}; }
};

}  // namespace norvane::engine
