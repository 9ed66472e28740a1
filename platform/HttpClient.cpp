#include "platform/HttpClient.h"

#include <curl/curl.h>

#include <array>
#include <atomic>
#include <exception>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/TlsMessages.h"

namespace norvane::platform {

namespace {
constexpr int PollMilliseconds = 1000;  // libcurl shortens it where one of its own times comes first

struct EasyFree {
  void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
};
struct MultiFree {
  void operator()(CURLM* multi) const noexcept { curl_multi_cleanup(multi); }
};

CURLM* NewMulti() {
  static const CURLcode global = curl_global_init(CURL_GLOBAL_DEFAULT);
  return global == CURLE_OK ? curl_multi_init() : nullptr;
}
}  // namespace

/// One fetch and its thread, which alone touches the handles while it runs.
class HttpClient::Transfer {
 public:
  Transfer(const std::string& url, std::chrono::milliseconds limit);
  ~Transfer() { Cancel(); }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  void Cancel() {
    m_cancelled = true;
    curl_multi_wakeup(m_multi.get());
    if (m_thread.joinable()) m_thread.join();
  }
  [[nodiscard]] bool HasEnded() const { return m_ended; }
  [[nodiscard]] HttpResult Result() {
    if (m_thread.joinable()) m_thread.join();
    return std::move(m_result);
  }

 private:
  void Start(const std::string& url, std::chrono::milliseconds limit);
  void SetOptions(const std::string& url, std::chrono::milliseconds limit);
  void Run() noexcept;
  void End(HttpResult result) noexcept;
  /// Until the transfer ends or is cancelled.
  [[nodiscard]] HttpResult Perform();
  [[nodiscard]] HttpReply Reply();
  [[nodiscard]] HttpFailure Failure(CURLcode code) const;
  static CURLcode PrepareTls(CURL*, void* context, void*) noexcept;
  static std::size_t TakeBody(char* bytes, std::size_t, std::size_t size, void* self) noexcept;

  std::array<char, CURL_ERROR_SIZE> m_error{};
  std::string m_body;
  HttpResult m_result;
  std::atomic<bool> m_cancelled = false;
  std::atomic<bool> m_ended = false;
  std::unique_ptr<CURLM, MultiFree> m_multi;
  std::unique_ptr<CURL, EasyFree> m_easy;  // goes before the other
  std::thread m_thread;
};

HttpClient::Transfer::Transfer(const std::string& url, std::chrono::milliseconds limit)
    : m_multi(NewMulti()), m_easy(curl_easy_init()) {
  try {
    Start(url, limit);
  } catch (const std::exception& failure) {
    End(HttpFailure{HttpFailure::Kind::Other, failure.what()});
  }
}

void HttpClient::Transfer::Start(const std::string& url, std::chrono::milliseconds limit) {
  if (!m_multi || !m_easy) throw std::runtime_error("libcurl cannot be set up");
  SetOptions(url, limit);
  curl_multi_add_handle(m_multi.get(), m_easy.get());
  m_thread = std::thread([this] { Run(); });
}

void HttpClient::Transfer::SetOptions(const std::string& url, std::chrono::milliseconds limit) {
  CURL* curl = m_easy.get();
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, m_error.data());
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(limit.count()));
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);  // leaves a name lookup behind, or cancelling would wait
  curl_easy_setopt(curl, CURLOPT_USERAGENT, "Norvane");
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, &Transfer::PrepareTls);
  curl_easy_setopt(curl, CURLOPT_PROXY, "");  // the engine goes by none either
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, MaxRedirects);
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(MaxBodySize));
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Transfer::TakeBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
}

CURLcode HttpClient::Transfer::PrepareTls(CURL*, void* context, void*) noexcept {
  LimitTlsMessages(static_cast<SSL_CTX*>(context));
  return CURLE_OK;
}

std::size_t HttpClient::Transfer::TakeBody(char* bytes, std::size_t /*one*/, std::size_t size,
                                           void* self) noexcept {
  auto& body = static_cast<Transfer*>(self)->m_body;
  if (body.size() + size > MaxBodySize) return 0;
  try {
    body.append(bytes, size);
    return size;
  } catch (const std::bad_alloc&) {
    return 0;  // libcurl ends the transfer
  }
}

void HttpClient::Transfer::Run() noexcept {
  try {
    End(Perform());
  } catch (const std::exception& failure) {
    End(HttpFailure{HttpFailure::Kind::Other, failure.what()});
  }
}

void HttpClient::Transfer::End(HttpResult result) noexcept {
  m_result = std::move(result);
  m_ended = true;
}

HttpResult HttpClient::Transfer::Perform() {
  int running = 1;
  while (!m_cancelled) {
    curl_multi_perform(m_multi.get(), &running);
    if (running == 0) break;
    curl_multi_poll(m_multi.get(), nullptr, 0, PollMilliseconds, nullptr);
  }
  int left = 0;
  const auto* message = curl_multi_info_read(m_multi.get(), &left);
  const auto code = message == nullptr ? CURLE_OK : message->data.result;
  HttpResult result;
  if (code == CURLE_OK)
    result = Reply();
  else
    result = Failure(code);
  curl_multi_remove_handle(m_multi.get(), m_easy.get());
  return result;
}

HttpReply HttpClient::Transfer::Reply() {
  const char* contentType = nullptr;
  curl_easy_getinfo(m_easy.get(), CURLINFO_CONTENT_TYPE, &contentType);
  return {std::move(m_body), contentType == nullptr ? "" : contentType};
}

HttpFailure HttpClient::Transfer::Failure(CURLcode code) const {
  if (code == CURLE_OPERATION_TIMEDOUT) return {HttpFailure::Kind::TimedOut, "no complete reply in time"};
  if (code == CURLE_FILESIZE_EXCEEDED || code == CURLE_WRITE_ERROR)
    return {HttpFailure::Kind::Other, "the reply is larger than 16 MiB"};
  return {HttpFailure::Kind::Other, m_error[0] != '\0' ? m_error.data() : curl_easy_strerror(code)};
}

HttpClient::HttpClient() = default;
HttpClient::~HttpClient() = default;

void HttpClient::Fetch(const std::string& url, std::chrono::milliseconds limit) {
  m_transfer.reset();
  m_transfer = std::make_unique<Transfer>(url, limit);
}

void HttpClient::Cancel() {
  if (m_transfer) m_transfer->Cancel();
}

bool HttpClient::StillExecuting() const {
  return m_transfer && !m_transfer->HasEnded();
}

HttpResult HttpClient::TakeResult() {
  return std::exchange(m_transfer, nullptr)->Result();
}

}  // namespace norvane::platform
