#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/net/Probe.h"
#include "engine/web/Page.h"
#include "engine/web/WebTransfers.h"

namespace norvane::engine {

struct WebRequest {
  std::string url;           ///< as a person types it
  bool onlySuccess = false;  ///< a reply that isn't 2xx is a failure
  /// Why the page will not do; empty if it will. A large page is judged in another thread, maybe when the
  /// fetch is gone. Without it any page will do.
  std::function<std::string(const Page&)> judge{};
  bool anyStatus = false;  ///< the page of an HTTP error will do too
  bool keepsPage = false;  ///< for `Received`, without a judge
  bool followsRedirects = true;
  std::optional<std::string> body{};   ///< to be sent by POST; without it the request is a GET
  std::vector<std::string> headers{};  ///< "Name: value", beside our own; may hold secrets
};

/// A page on its way.
class WebFetch : public Probe {
 public:
  /// What has come of the page so far, if it is kept.
  [[nodiscard]] virtual Page Received() const = 0;
};

/// Fetches a page by GET, or by POST, over http or https only, through at most five redirects. Certificates
/// are verified, and each request is on a fresh connection, so that a server which accepts no new ones is
/// found out. `timeout` is what the fetch has in all; it is the caller's business, and here only shared among
/// the addresses.
[[nodiscard]] std::unique_ptr<WebFetch> MakeWebFetch(WebTransfers& transfers, ProbeContext& context,
                                                     WebRequest request, std::chrono::milliseconds timeout,
                                                     ProbeClient& client);

}  // namespace norvane::engine
