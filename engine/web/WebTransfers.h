#pragma once

#include <curl/curl.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "engine/net/EventLoop.h"
#include "engine/web/CurlHandles.h"

namespace norvane::engine {

class TlsClient;

/// libcurl's transfers in the loop, and the handles for them.
class WebTransfers : private Watcher {
 public:
  /// Called from the loop when a transfer has ended. May remove, release and add transfers.
  class Client {
   public:
    virtual ~Client() = default;
    virtual void TransferEnded(CURLcode code) = 0;
    /// What `TransferEnded` throws goes there.
    [[nodiscard]] virtual EventOwner& Owner() = 0;
  };

  /// One request at a time. Everything that never changes between requests is set; whoever acquires it sets
  /// the rest.
  class Handle {
   public:
    /// Handles with the same number share a name within libcurl.
    Handle(const WebTransfers& owner, unsigned number);
    /// Before each request: libcurl 7.88 remembers the last header of the former one, which is freed, and
    /// continues it when a server begins its headers with a blank.
    void Renew(const WebTransfers& owner);
    [[nodiscard]] CURL* Get() const noexcept { return m_curl.get(); }
    /// libcurl's message about the last failure; may be empty.
    [[nodiscard]] const char* Error() const noexcept { return m_error.data(); }
    void ClearError() noexcept { m_error[0] = '\0'; }
    /// Where the next transfer connects to, whatever the host of its URL, which stays the one that the server
    /// and its certificate are asked for.
    void SetAddresses(const std::string& port, const std::vector<std::string>& addresses);

   private:
    struct Free {
      void operator()(CURL* curl) const noexcept { curl_easy_cleanup(curl); }
    };
    std::string m_peer;    // the name under which libcurl gets the addresses
    std::string m_latest;  // that name and the port of the last transfer
    CurlList m_connectTo;
    CurlList m_addresses;
    std::array<char, CURL_ERROR_SIZE> m_error{};  // before the handle, which writes into it to its end
    std::unique_ptr<CURL, Free> m_curl;
  };

  /// Servers are verified by the authorities of `tls`. Throws std::runtime_error when libcurl gives no
  /// handle.
  WebTransfers(EventLoop& loop, TlsClient& tls);
  ~WebTransfers() override;

  [[nodiscard]] std::unique_ptr<Handle> Acquire();
  /// `handle` is in no transfer and holds no secret.
  void Release(std::unique_ptr<Handle> handle);

  void Add(Handle& handle, Client& client);
  void Remove(Handle& handle) noexcept;

 private:
  struct FreeMulti {
    void operator()(CURLM* multi) const noexcept { curl_multi_cleanup(multi); }
  };

  static CURLcode PrepareTls(CURL*, void* context, void* tls) noexcept;
  static int SocketChanged(CURL*, curl_socket_t fd, int what, void* self, void*) noexcept;
  static int TimerChanged(CURLM*, long milliseconds, void* self) noexcept;
  void Ready(int fd, std::uint32_t events) override { Act(fd, events); }
  EventOwner& Owner() override { return m_loop; }
  void Act(curl_socket_t fd, std::uint32_t events);

  EventLoop& m_loop;
  TlsClient& m_tls;
  CurlList m_headers;
  EventLoop::Timer m_timer;
  unsigned m_made = 0;  // handles so far
  std::vector<std::unique_ptr<Handle>> m_idle;
  std::unique_ptr<CURLM, FreeMulti> m_multi;
};

}  // namespace norvane::engine
