#include "engine/web/WebFetch.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <utility>

#include "engine/web/HeldPage.h"
#include "engine/web/PageJudging.h"
#include "engine/web/ReplyBudget.h"
#include "engine/web/WebReason.h"
#include "engine/web/WebTransfers.h"
#include "platform/Ascii.h"
#include "platform/Blanks.h"

namespace norvane::engine {

namespace {

constexpr int MaxRedirects = 5;
/// Handing a smaller page to another thread would cost more than to judge it.
constexpr std::size_t MaxJudgedInLoop = 64 << 10;
// People type URLs with blanks and letters of their own language; browsers take them, and so do we.
constexpr unsigned UrlFlags = CURLU_URLENCODE | CURLU_ALLOW_SPACE | CURLU_NON_SUPPORT_SCHEME;

class Transfer final : public WebFetch, private WebTransfers::Client {
 public:
  Transfer(WebTransfers& transfers, ProbeContext& context, WebRequest request,
           std::chrono::milliseconds timeout, ProbeClient& client)
      : m_transfers(transfers),
        m_context(context),
        m_request(std::move(request)),
        m_timeout(timeout),
        m_client(client),
        m_hasSecret(m_request.body || !m_request.headers.empty()),
        m_page(context.pageQuota) {}
  ~Transfer() override;

  void Begin() override { Visit(std::string(platform::Trimmed(m_request.url)).c_str()); }
  [[nodiscard]] std::string_view Step() const override;
  [[nodiscard]] bool IsQueued() const override { return m_query && m_query->IsQueued(); }
  [[nodiscard]] Page Received() const override;
  [[nodiscard]] std::chrono::seconds RetryAfter() const override;
  [[nodiscard]] SendFailure WhatFailed() const override;

 private:
  void Visit(const char* url);
  void Fetch(const Resolver::Answer& answer);
  void SetOptions(const Resolver::Answer& answer);
  void SetBodyAndHeaders(CURL* curl);
  void TransferEnded(CURLcode code) override;
  EventOwner& Owner() override { return m_client; }
  [[nodiscard]] bool IsConnected() const;
  [[nodiscard]] bool WasCutShort(CURLcode code) const;
  void JudgePage();
  void End(std::string failure) { m_client.Ended(std::move(failure)); }
  /// Ends the transfer from within a callback of libcurl.
  std::size_t Refuse(std::string_view why) noexcept;
  [[nodiscard]] bool BeginsEncoding(std::string_view headerLine) noexcept;

  static int OnSocket(void* self, curl_socket_t socket, curlsocktype) noexcept;
  static std::size_t OnBody(char* bytes, std::size_t, std::size_t size, void* self) noexcept;
  static std::size_t OnHeader(char* bytes, std::size_t, std::size_t size, void* self) noexcept;
  static int OnTrace(CURL*, curl_infotype type, char*, std::size_t size, void* self) noexcept;
  static int OnProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept;

  WebTransfers& m_transfers;
  ProbeContext& m_context;
  WebRequest m_request;
  std::chrono::milliseconds m_timeout;
  ProbeClient& m_client;

  CurlUrl m_url;
  std::string m_host;
  bool m_hasSecret;  // then the handle is used by nobody else
  CurlList m_headers;
  int m_redirects = 0;
  std::unique_ptr<Resolver::Query> m_query;
  std::unique_ptr<WebTransfers::Handle> m_handle;
  curl_socket_t m_socket = CURL_SOCKET_BAD;  // the latest that libcurl opened
  HeldPage m_page;
  std::shared_ptr<PageJudging> m_judging;
  ReplyBudget m_budget;  // of the present server
  bool m_headerEnded = false;
  std::string_view m_refusal;  // why the transfer was ended by this end; a literal
};

Transfer::~Transfer() {
  if (m_judging) m_judging->GiveUp();
  if (!m_handle) return;
  m_transfers.Remove(*m_handle);
  if (!m_hasSecret) m_transfers.Release(std::move(m_handle));
}

std::string_view Transfer::Step() const {
  if (m_query) return "looking up the name";
  if (!m_handle) return "starting";
  const auto passed = [&](CURLINFO what) {
    curl_off_t microseconds = 0;
    curl_easy_getinfo(m_handle->Get(), what, &microseconds);
    return microseconds > 0;
  };
  if (!passed(CURLINFO_PRETRANSFER_TIME_T)) return IsConnected() ? "TLS handshake" : "connecting";
  return passed(CURLINFO_STARTTRANSFER_TIME_T) ? "receiving the page" : "waiting for the reply";
}

/// Asks the socket, since libcurl counts TLS as a part of connecting.
bool Transfer::IsConnected() const {
  sockaddr_storage peer{};
  socklen_t size = sizeof peer;
  return ::getpeername(m_socket, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
}

/// Goes to `url`, the monitor's own or the one that a server redirects to.
void Transfer::Visit(const char* url) {
  m_url.reset(curl_url());
  if (!m_url || curl_url_set(m_url.get(), CURLUPART_URL, url, UrlFlags) != CURLUE_OK)
    return End(m_redirects == 0 ? "invalid URL" : "redirect to an invalid URL");
  const auto scheme = UrlPart(m_url.get(), CURLUPART_SCHEME);
  if (!platform::EqualsIgnoringCase(scheme, "http") && !platform::EqualsIgnoringCase(scheme, "https"))
    return End(m_redirects == 0 ? "not an http or https URL"
                                : "redirect to a scheme other than http or https");
  m_host = UrlPart(m_url.get(), CURLUPART_HOST, CURLU_PUNYCODE);
  if (m_host.empty()) return End("invalid host name");
  m_hasSecret = m_hasSecret || !UrlPart(m_url.get(), CURLUPART_USER).empty();
  if (const auto* answer = m_context.resolver.Known(m_host)) return Fetch(*answer);
  m_query = m_context.resolver.LookUp(
      m_host, m_client, [this](const Resolver::Answer& answer) { Fetch(answer); }, m_timeout);
}

void Transfer::Fetch(const Resolver::Answer& answer) {
  m_query.reset();
  if (answer.addresses.empty()) return End(answer.failure);
  if (m_handle)
    m_handle->Renew(m_transfers);
  else
    m_handle = m_transfers.Acquire();
  m_page.Clear();
  m_budget = {};
  m_headerEnded = false;
  SetOptions(answer);
  m_transfers.Add(*m_handle, *this);
}

void Transfer::SetOptions(const Resolver::Answer& answer) {
  m_handle->SetAddresses(UrlPart(m_url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT), answer.addresses);
  CURL* curl = m_handle->Get();
  curl_easy_setopt(curl, CURLOPT_CURLU, m_url.get());
  curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(MaxPageSize));
  curl_easy_setopt(curl, CURLOPT_FAILONERROR, m_request.anyStatus ? 0L : 1L);
  curl_easy_setopt(curl, CURLOPT_SOCKOPTFUNCTION, &Transfer::OnSocket);
  curl_easy_setopt(curl, CURLOPT_SOCKOPTDATA, this);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Transfer::OnBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &Transfer::OnHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(curl, CURLOPT_VERBOSE, 0L);
  curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, &Transfer::OnTrace);
  curl_easy_setopt(curl, CURLOPT_DEBUGDATA, this);
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 1L);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, &Transfer::OnProgress);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, this);
  if (m_request.body || !m_request.headers.empty()) SetBodyAndHeaders(curl);
  // libcurl uses it to share the time between several addresses. The client's time-out comes first.
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_timeout.count()) + 1000L);
}

/// libcurl's own "Expect" would cost a round trip, or a second.
void Transfer::SetBodyAndHeaders(CURL* curl) {
  auto lines = m_request.headers;
  lines.insert(lines.end(), {"Connection: close", "Expect:"});
  m_headers.reset();
  for (const auto& line : lines) {
    curl_slist* longer = curl_slist_append(m_headers.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(m_headers.release());
    m_headers.reset(longer);
  }
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, m_headers.get());
  if (!m_request.body) return;
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_request.body->size()));
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, m_request.body->c_str());
}

int Transfer::OnSocket(void* self, curl_socket_t socket, curlsocktype) noexcept {
  static_cast<Transfer*>(self)->m_socket = socket;
  return CURL_SOCKOPT_OK;
}

std::size_t Transfer::Refuse(std::string_view why) noexcept {
  m_refusal = why;
  return 0;
}

std::size_t Transfer::OnBody(char* bytes, std::size_t, std::size_t size, void* self) noexcept {
  auto& fetch = *static_cast<Transfer*>(self);
  const bool isKept = fetch.m_request.judge || fetch.m_request.keepsPage;
  auto refusal = fetch.m_budget.AddPiece(size);
  if (refusal.empty() && isKept) refusal = fetch.m_page.Append({bytes, size});
  return refusal.empty() ? size : fetch.Refuse(refusal);
}

/// Line by line; those of trailers come here too.
std::size_t Transfer::OnHeader(char* bytes, std::size_t, std::size_t size, void* self) noexcept {
  auto& fetch = *static_cast<Transfer*>(self);
  const std::string_view line(bytes, size);
  if (line.starts_with("HTTP/")) fetch.m_headerEnded = false;
  if (line == "\r\n" || line == "\n") fetch.m_headerEnded = true;
  auto refusal = fetch.m_budget.AddHeaderLine(size);
  if (refusal.empty() && fetch.BeginsEncoding(line)) refusal = "unrequested transfer encoding";
  return refusal.empty() ? size : fetch.Refuse(refusal);
}

/// libcurl decompresses whatever says that it is compressed, layer upon layer, within one call.
bool Transfer::BeginsEncoding(std::string_view headerLine) noexcept {
  const auto colon = headerLine.find(':');
  if (!platform::EqualsIgnoringCase(headerLine.substr(0, colon), "Transfer-Encoding")) return false;
  const auto encoding = platform::Trimmed(headerLine.substr(colon + 1), " \t\r\n");
  // What libcurl traces of a page is the only sight of it before the chunks are taken out, and a trace cannot
  // end the transfer.
  curl_easy_setopt(m_handle->Get(), CURLOPT_VERBOSE, 1L);
  curl_easy_setopt(m_handle->Get(), CURLOPT_NOPROGRESS, 0L);
  return !platform::EqualsIgnoringCase(encoding, "chunked") &&
         !platform::EqualsIgnoringCase(encoding, "identity");
}

int Transfer::OnTrace(CURL*, curl_infotype type, char*, std::size_t size, void* self) noexcept {
  if (type == CURLINFO_DATA_IN) static_cast<Transfer*>(self)->m_budget.AddChunked(size);
  return 0;
}

int Transfer::OnProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  auto& fetch = *static_cast<Transfer*>(self);
  const auto refusal = fetch.m_budget.ChunkFailure();
  if (!refusal.empty()) fetch.Refuse(refusal);
  return refusal.empty() ? 0 : 1;
}

/// libcurl's own limit on connecting comes first where the client's was put off, since the engine was held
/// up.
bool Transfer::WasCutShort(CURLcode code) const {
  long error = 0;
  curl_easy_getinfo(m_handle->Get(), CURLINFO_OS_ERRNO, &error);
  return code == CURLE_OPERATION_TIMEDOUT && error != ETIMEDOUT;
}

void Transfer::TransferEnded(CURLcode code) {
  m_transfers.Remove(*m_handle);
  if (WasCutShort(code)) return m_transfers.Add(*m_handle, *this);
  CURL* curl = m_handle->Get();
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  if (status >= 400 && !m_request.anyStatus) return End("HTTP status " + std::to_string(status));
  if (code == CURLE_FILESIZE_EXCEEDED) m_refusal = PageTooLarge;
  if (!m_refusal.empty()) return End(std::string(m_refusal));
  if (code == CURLE_OK && !m_headerEnded) code = CURLE_PARTIAL_FILE;  // which libcurl accepts as a reply
  if (code != CURLE_OK) return End(TransferFailure(curl, code, m_handle->Error(), m_host));
  char* redirect = nullptr;
  if (m_request.followsRedirects) curl_easy_getinfo(curl, CURLINFO_REDIRECT_URL, &redirect);
  if (redirect == nullptr && m_request.onlySuccess && status / 100 != 2)
    return End("HTTP status " + std::to_string(status));
  if (redirect == nullptr) return JudgePage();
  if (++m_redirects > MaxRedirects) return End("more than " + std::to_string(MaxRedirects) + " redirects");
  Visit(std::string(redirect).c_str());  // a copy, since the handle's next use frees it
}

void Transfer::JudgePage() {
  if (!m_request.judge) return End({});
  try {
    if (m_page.Bytes().size() <= MaxJudgedInLoop) return End(m_request.judge(Received()));
    m_judging =
        std::make_shared<PageJudging>(std::move(m_page), std::string(Received().contentType), m_request.judge,
                                      [this](std::string failure) { End(std::move(failure)); });
    PageJudging::Begin(m_judging, m_context.pool, m_context.calls);
    m_client.Arrived();
  } catch (const std::bad_alloc&) {
    End(std::string(NotEnoughMemory));
  }
}

/// A status of 4xx is meant for this request, unless it asks who we are or for patience.
SendFailure Transfer::WhatFailed() const {
  using Blame = SendFailure::Blame;
  if (!m_handle) return {};
  long status = 0;
  curl_off_t sent = 0;
  curl_easy_getinfo(m_handle->Get(), CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(m_handle->Get(), CURLINFO_PRETRANSFER_TIME_T, &sent);
  constexpr std::array<long, 5> ForAll{401, 403, 407, 408, 429};
  const bool isForOne = status / 100 == 4 && std::ranges::find(ForAll, status) == ForAll.end();
  return {isForOne ? Blame::Recipient : Blame::Server, status == 0 && sent > 0};
}

std::chrono::seconds Transfer::RetryAfter() const {
  curl_off_t seconds = 0;
  if (m_handle) curl_easy_getinfo(m_handle->Get(), CURLINFO_RETRY_AFTER, &seconds);
  return std::chrono::seconds(std::max<curl_off_t>(seconds, 0));
}

Page Transfer::Received() const {
  const char* type = nullptr;
  long status = 0;
  if (m_handle) {
    curl_easy_getinfo(m_handle->Get(), CURLINFO_CONTENT_TYPE, &type);
    curl_easy_getinfo(m_handle->Get(), CURLINFO_RESPONSE_CODE, &status);
  }
  return {m_page.Bytes(), type != nullptr ? type : "", static_cast<int>(status)};
}

}  // namespace

std::unique_ptr<WebFetch> MakeWebFetch(WebTransfers& transfers, ProbeContext& context, WebRequest request,
                                       std::chrono::milliseconds timeout, ProbeClient& client) {
  return std::make_unique<Transfer>(transfers, context, std::move(request), timeout, client);
}

}  // namespace norvane::engine
