#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <variant>

namespace norvane::platform {

/// What a server sent, whatever its status.
struct HttpReply {
  std::string body;
  std::string contentType;  ///< the header's value with its parameters; empty if there was none
};

/// Why there is no reply.
struct HttpFailure {
  enum class Kind { TimedOut, Other };
  Kind kind;
  std::string reason;  ///< for people, no trailing full stop
};

using HttpResult = std::variant<HttpReply, HttpFailure>;

/// Fetches one page at a time, in a thread of its own, so that the caller's goes on. All calls belong to one
/// thread; nothing is reported, the caller looks when it wants to know. Ending it cancels.
class HttpClient {
 public:
  static constexpr long MaxRedirects = 5;
  static constexpr std::size_t MaxBodySize = 16 * 1024 * 1024;

  HttpClient();
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  /// Cancels what runs and begins to fetch `url`, of http or https. `limit`, above 0, is the time from now to
  /// the end of the reply, name lookup and redirects included. A fetch that cannot even begin has failed
  /// with the reason.
  void Fetch(const std::string& url, std::chrono::milliseconds limit);
  /// Ends a fetch at once; its result is then the reply as far as it came. Harmless if nothing runs.
  void Cancel();
  [[nodiscard]] bool StillExecuting() const;
  /// How the last fetch ended; waits for that if it still runs. Once for each fetch.
  [[nodiscard]] HttpResult TakeResult();

 private:
  class Transfer;
  std::unique_ptr<Transfer> m_transfer;
};

}  // namespace norvane::platform
