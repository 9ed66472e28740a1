#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "engine/net/Probe.h"
#include "engine/web/WebTransfers.h"

namespace norvane::engine {

struct WebRequest {
  std::string url;           ///< as a person types it
  bool onlySuccess = false;  ///< a reply that isn't 2xx is a failure
  /// Why the page, bytes as they were served and the header's value, will not do; empty if it will. Without
  /// it any page will, and none is kept.
  std::function<std::string(std::string_view body, std::string_view contentType)> judge{};
};

/// Fetches a page by GET, over http or https only, through at most five redirects. Certificates are verified,
/// and each request is on a fresh connection, so that a server which accepts no new ones is found out.
/// `timeout` is what the fetch has in all; it is the caller's business, and here only shared among the
/// addresses.
[[nodiscard]] std::unique_ptr<Probe> MakeWebFetch(WebTransfers& transfers, ProbeContext& context,
                                                  WebRequest request, std::chrono::milliseconds timeout,
                                                  ProbeClient& client);

}  // namespace norvane::engine
