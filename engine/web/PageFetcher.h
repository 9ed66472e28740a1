#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "engine/model/Reports.h"
#include "engine/net/PageQuota.h"
#include "engine/net/Probe.h"
#include "engine/web/WebTransfers.h"

namespace norvane::engine {

/// Fetches pages for people to look at, in the loop of the checks and by their rules.
class PageFetcher {
 public:
  using Deliver = std::function<void(FetchEnded)>;

  /// `deliver` gets the end of each, from the loop.
  PageFetcher(ProbeContext& context, Deliver deliver);
  ~PageFetcher();
  PageFetcher(const PageFetcher&) = delete;
  PageFetcher& operator=(const PageFetcher&) = delete;

  void Fetch(FetchRequest request, std::uint64_t ticket);
  /// What has come of the page is delivered; harmless if the fetch has ended.
  void Stop(std::uint64_t ticket);

 private:
  class Fetching;

  PageQuota m_quota{std::size_t{64} << 20};  // their own: consoles must not make checks fail
  ProbeContext m_context;
  WebTransfers m_transfers;
  Deliver m_deliver;
  std::map<std::uint64_t, std::unique_ptr<Fetching>> m_inFlight;  // by ticket
};

}  // namespace norvane::engine
