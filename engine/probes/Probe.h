#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "engine/CheckRunner.h"
#include "engine/EventLoop.h"
#include "engine/Resolver.h"
#include "engine/TlsClient.h"
#include "platform/LegacyCharset.h"

namespace norvane::engine {

/// What the probes of every type share. Outlives them.
struct ProbeContext {
  EventLoop& loop;
  Resolver& resolver;
  TlsClient& tls;
  const std::string& caFile;               ///< PEM file of the authorities that are trusted
  const platform::LegacyCharset& charset;  ///< in which the size of a page is counted
  /// Bytes that are left for the pages held at once.
  std::size_t roomForPages;
};

/// Hears how a probe ends.
class ProbeClient {
 public:
  virtual ~ProbeClient() = default;
  /// Comes at most once. An empty `failure` is a success; the text may hold bytes from outside. Destroys the
  /// probe, which therefore touches nothing of its own afterwards.
  virtual void Ended(std::string failure) = 0;
};

/// One check in flight, in the checker's loop; never blocks it. Destroying it gives up the check and leaves
/// nothing open. The time-out is the checker's business.
class Probe {
 public:
  virtual ~Probe() = default;
  /// Called once; may end the probe at once.
  virtual void Begin() = 0;
  /// What the probe is waiting for ("connecting"), for the reason of a check that ran out of time.
  [[nodiscard]] virtual std::string_view Step() const = 0;
};

/// A type of check, with what its probes share (a pool of handles, for instance). Outlives them.
class ProbeType {
 public:
  virtual ~ProbeType() = default;
  /// `target` and `client` outlive the probe. `timeout` is what the check has in all.
  [[nodiscard]] virtual std::unique_ptr<Probe> Make(const CheckTarget& target,
                                                    std::chrono::milliseconds timeout,
                                                    ProbeClient& client) = 0;
};

/// A row of the table of types; a new type of check is its own file and one row.
struct ProbeRow {
  std::string_view type;  ///< as it stands at the head of a monitor's full name
  std::unique_ptr<ProbeType> (*make)(ProbeContext&);
};
[[nodiscard]] std::span<const ProbeRow> ProbeTable();

}  // namespace norvane::engine
