#include "bench/BareWebLoop.h"

#include <sys/epoll.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace norvane::bench {

BareWebLoop::BareWebLoop(std::string url, std::string wanted, const std::string& caFile)
    : m_url(std::move(url)),
      m_wanted(std::move(wanted)),
      m_epoll(::epoll_create1(EPOLL_CLOEXEC)),
      m_multi(curl_multi_init()) {
  curl_multi_setopt(m_multi, CURLMOPT_SOCKETFUNCTION, &BareWebLoop::SocketChanged);
  curl_multi_setopt(m_multi, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(m_multi, CURLMOPT_TIMERFUNCTION, &BareWebLoop::TimerChanged);
  curl_multi_setopt(m_multi, CURLMOPT_TIMERDATA, this);
  for (auto& transfer : m_transfers)
    Prepare(transfer, caFile);
}

BareWebLoop::~BareWebLoop() {
  for (auto& transfer : m_transfers)
    curl_easy_cleanup(transfer.curl);
  curl_multi_cleanup(m_multi);
  curl_slist_free_all(m_headers);
}

int BareWebLoop::Run(int checks, int perSecond) {
  const Pace pace(perSecond);
  int begun = 0;
  int good = 0;
  for (int ended = 0; ended < checks;) {
    for (; !m_idle.empty() && begun < checks && pace.Allows(begun); ++begun)
      Begin();
    Wait(pace.LongestWait());
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
      good += End(message->easy_handle, message->data.result);
      ++ended;
    }
  }
  return good;
}

void BareWebLoop::Prepare(Transfer& transfer, const std::string& caFile) {
  transfer.curl = curl_easy_init();
  curl_easy_setopt(transfer.curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(transfer.curl, CURLOPT_HTTPHEADER, m_headers);
  curl_easy_setopt(transfer.curl, CURLOPT_FRESH_CONNECT, 1L);
  curl_easy_setopt(transfer.curl, CURLOPT_FORBID_REUSE, 1L);
  curl_easy_setopt(transfer.curl, CURLOPT_SSL_SESSIONID_CACHE, 0L);
  curl_easy_setopt(transfer.curl, CURLOPT_CAPATH, nullptr);
  if (!caFile.empty()) curl_easy_setopt(transfer.curl, CURLOPT_CAINFO, caFile.c_str());
  curl_easy_setopt(transfer.curl, CURLOPT_PRIVATE, &transfer);
  curl_easy_setopt(transfer.curl, CURLOPT_WRITEFUNCTION, &BareWebLoop::ReceiveBody);
  curl_easy_setopt(transfer.curl, CURLOPT_WRITEDATA, &transfer);
  m_idle.push_back(&transfer);
}

void BareWebLoop::Begin() {
  auto& transfer = *m_idle.back();
  m_idle.pop_back();
  transfer.body.clear();
  curl_easy_setopt(transfer.curl, CURLOPT_URL, m_url.c_str());
  curl_easy_setopt(transfer.curl, CURLOPT_TIMEOUT_MS, 30000L);
  curl_multi_add_handle(m_multi, transfer.curl);
}

bool BareWebLoop::End(CURL* curl, CURLcode code) {
  Transfer* transfer = nullptr;
  curl_easy_getinfo(curl, CURLINFO_PRIVATE, &transfer);
  curl_multi_remove_handle(m_multi, curl);
  m_idle.push_back(transfer);
  return code == CURLE_OK && transfer->body.find(m_wanted) != std::string::npos;
}

void BareWebLoop::Wait(int longest) {
  std::array<epoll_event, 256> events;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_due - Clock::now()).count();
  const auto wait = static_cast<int>(std::clamp<std::int64_t>(left, 0, longest));
  const int count = ::epoll_wait(m_epoll.Get(), events.data(), events.size(), wait);
  int running = 0;
  for (int i = 0; i < count; ++i) {
    const auto& event = events[static_cast<std::size_t>(i)];
    const int what = ((event.events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
                     ((event.events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0) |
                     ((event.events & (EPOLLERR | EPOLLHUP)) != 0 ? CURL_CSELECT_ERR : 0);
    curl_multi_socket_action(m_multi, event.data.fd, what, &running);
  }
  if (Clock::now() < m_due) return;
  m_due = Clock::time_point::max();
  curl_multi_socket_action(m_multi, CURL_SOCKET_TIMEOUT, 0, &running);
}

int BareWebLoop::SocketChanged(CURL*, curl_socket_t fd, int what, void* self, void*) {
  const int epoll = static_cast<BareWebLoop*>(self)->m_epoll.Get();
  epoll_event event{};
  event.events = ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0u) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0u);
  event.data.fd = fd;
  if (what == CURL_POLL_REMOVE)
    ::epoll_ctl(epoll, EPOLL_CTL_DEL, fd, nullptr);
  else if (::epoll_ctl(epoll, EPOLL_CTL_MOD, fd, &event) != 0)
    ::epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
  return 0;
}

int BareWebLoop::TimerChanged(CURLM*, long milliseconds, void* self) {
  static_cast<BareWebLoop*>(self)->m_due =
      milliseconds < 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(milliseconds);
  return 0;
}

std::size_t BareWebLoop::ReceiveBody(char* bytes, std::size_t, std::size_t size, void* transfer) {
  static_cast<Transfer*>(transfer)->body.append(bytes, size);
  return size;
}

}  // namespace norvane::bench
