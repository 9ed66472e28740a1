#include "engine/web/WebTransfers.h"

#include <sys/epoll.h>

#include <cstdlib>
#include <new>
#include <stdexcept>
#include <utility>

#include "engine/net/TlsClient.h"
#include "engine/web/WebReason.h"
#include "platform/MemoryReserve.h"
#include "platform/TlsLimits.h"

namespace norvane::engine {

namespace {
constexpr std::size_t MaxIdle = 1024;

/// libcurl looks for a connection that ends in the list of all that go to the same name and port, so that one
/// name for all would make each check the dearer the more there are in flight.
constexpr unsigned PeerNames = 256;

CurlList List(const std::string& line) {
  return CurlList(curl_slist_append(nullptr, line.c_str()));
}

CURLM* NewMulti() {
  // It divides by zero after certain failures to get memory.
  static const CURLcode global =
      curl_global_init_mem(CURL_GLOBAL_DEFAULT, &platform::ReservedMalloc, &std::free,
                           &platform::ReservedRealloc, &platform::ReservedStrdup, &platform::ReservedCalloc);
  return global == CURLE_OK ? curl_multi_init() : nullptr;
}
}  // namespace

WebTransfers::Handle::Handle(const WebTransfers& owner, unsigned number)
    : m_peer("peer" + std::to_string(number % PeerNames)), m_connectTo(List("::" + m_peer + ":")) {
  Renew(owner);
}

void WebTransfers::Handle::Renew(const WebTransfers& owner) {
  m_curl.reset();  // first, since it writes into the same buffer
  m_curl.reset(curl_easy_init());
  CURL* curl = m_curl.get();
  if (curl == nullptr) throw std::runtime_error("cannot create a libcurl handle");
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, m_error.data());
  // Overridden by each transfer's CURLOPT_CURLU, of which libcurl would make a text if it had none.
  curl_easy_setopt(curl, CURLOPT_URL, "http:");
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(curl, CURLOPT_USERAGENT, "Norvane");
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, owner.m_headers.get());
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_PROXY, "");  // nor one that the environment names
  curl_easy_setopt(curl, CURLOPT_FRESH_CONNECT, 1L);
  curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, 1L);
  // The addresses are ours. Each transfer of a handle removes the entry of its last one from libcurl's cache;
  // with a time to live they would be walked after each transfer.
  curl_easy_setopt(curl, CURLOPT_CONNECT_TO, m_connectTo.get());
  curl_easy_setopt(curl, CURLOPT_DNS_CACHE_TIMEOUT, -1L);
  curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, &WebTransfers::PrepareTls);
  curl_easy_setopt(curl, CURLOPT_SSL_CTX_DATA, &owner.m_tls);
  // A resumed session would hide that the certificate has expired meanwhile.
  curl_easy_setopt(curl, CURLOPT_SSL_SESSIONID_CACHE, 0L);
  // The authorities are ours too; libcurl would keep those that it reads for a day.
  curl_easy_setopt(curl, CURLOPT_CA_CACHE_TIMEOUT, 0L);
  curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(curl, CURLOPT_CAINFO, nullptr);
}

void WebTransfers::Handle::SetAddresses(const std::string& port, const std::vector<std::string>& addresses) {
  const auto former = std::exchange(m_latest, m_peer + ":" + port);
  m_addresses.reset(former.empty() ? nullptr : curl_slist_append(nullptr, ("-" + former).c_str()));
  auto line = m_latest;
  char separator = ':';
  for (const auto& address : addresses) {
    line += std::exchange(separator, ',');
    line += address.find(':') == std::string::npos ? address : "[" + address + "]";
  }
  m_addresses.reset(curl_slist_append(m_addresses.release(), line.c_str()));
  curl_easy_setopt(m_curl.get(), CURLOPT_RESOLVE, m_addresses.get());
}

WebTransfers::WebTransfers(EventLoop& loop, TlsClient& tls)
    : m_loop(loop),
      m_tls(tls),
      m_headers(List("Connection: close")),
      m_timer(loop, loop, [this] { Act(CURL_SOCKET_TIMEOUT, 0); }),
      m_multi(NewMulti()) {
  if (!m_multi) throw std::runtime_error("cannot set up libcurl");
  m_timer.Set(m_loop.Now());  // from now on `Set` allocates nothing, and libcurl's callback cannot throw
  curl_multi_setopt(m_multi.get(), CURLMOPT_SOCKETFUNCTION, &WebTransfers::SocketChanged);
  curl_multi_setopt(m_multi.get(), CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(m_multi.get(), CURLMOPT_TIMERFUNCTION, &WebTransfers::TimerChanged);
  curl_multi_setopt(m_multi.get(), CURLMOPT_TIMERDATA, this);
}

WebTransfers::~WebTransfers() = default;

std::unique_ptr<WebTransfers::Handle> WebTransfers::Acquire() {
  if (m_idle.empty()) return std::make_unique<Handle>(*this, m_made++);
  auto handle = std::move(m_idle.back());
  m_idle.pop_back();
  handle->Renew(*this);
  return handle;
}

void WebTransfers::Release(std::unique_ptr<Handle> handle) {
  if (m_idle.size() < MaxIdle) m_idle.push_back(std::move(handle));
}

void WebTransfers::Add(Handle& handle, Client& client) {
  handle.ClearError();
  curl_easy_setopt(handle.Get(), CURLOPT_PRIVATE, &client);
  if (const auto code = curl_multi_add_handle(m_multi.get(), handle.Get()); code != CURLM_OK)
    throw std::runtime_error(std::string("libcurl refuses a transfer: ") + curl_multi_strerror(code));
}

void WebTransfers::Remove(Handle& handle) noexcept {
  curl_multi_remove_handle(m_multi.get(), handle.Get());
}

CURLcode WebTransfers::PrepareTls(CURL*, void* context, void* tls) noexcept {
  auto* tlsContext = static_cast<SSL_CTX*>(context);
  platform::LimitTls(tlsContext);
  try {
    return static_cast<TlsClient*>(tls)->ShareAuthorities(tlsContext) ? CURLE_OK : CURLE_SSL_CACERT_BADFILE;
  } catch (const std::bad_alloc&) {
    return CURLE_SSL_CACERT_BADFILE;
  }
}

int WebTransfers::SocketChanged(CURL*, curl_socket_t fd, int what, void* self, void*) noexcept {
  auto& transfers = *static_cast<WebTransfers*>(self);
  if (what == CURL_POLL_REMOVE) {
    transfers.m_loop.Forget(fd);
    return 0;
  }
  const auto events =
      ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0u) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0u);
  // If the kernel cannot watch it, this transfer ends by its time-out; an error would end all others too.
  static_cast<void>(transfers.m_loop.Watch(fd, events, transfers));
  return 0;
}

int WebTransfers::TimerChanged(CURLM*, long milliseconds, void* self) noexcept {
  auto& transfers = *static_cast<WebTransfers*>(self);
  if (milliseconds < 0)
    transfers.m_timer.Clear();
  else
    transfers.m_timer.Set(transfers.m_loop.Now() + std::chrono::milliseconds{milliseconds});
  return 0;
}

void WebTransfers::Act(curl_socket_t fd, std::uint32_t events) {
  const int ready = ((events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
                    ((events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0) |
                    ((events & (EPOLLERR | EPOLLHUP)) != 0 ? CURL_CSELECT_ERR : 0);
  int running = 0;
  curl_multi_socket_action(m_multi.get(), fd, ready, &running);
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(m_multi.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const auto code = message->data.result;
    Client* client = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &client);
    m_loop.Serve(client->Owner(), [&] { client->TransferEnded(code); });
  }
}

}  // namespace norvane::engine
