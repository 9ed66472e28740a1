#include "bench/PageServer.h"

#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <string_view>

#include "loopback/Sockets.h"

namespace norvane::bench {

using platform::FileDescriptor;

namespace {
constexpr int Backlog = 4096;
constexpr int WaitMilliseconds = 100;  // until it is seen that the server ends
constexpr std::string_view RequestHead = "GET /";
}  // namespace

Arrivals::Arrivals()
    : m_shared(static_cast<Shared*>(::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                           MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {
  if (m_shared == MAP_FAILED) loopback::ThrowErrno("mmap");
}

Arrivals::~Arrivals() {
  ::munmap(m_shared, sizeof(Shared));
}

void Arrivals::Note(std::uint32_t monitor) {
  const auto index = m_shared->count.load(std::memory_order_relaxed);
  if (index == Capacity) return;
  m_shared->entries[index] = {monitor, std::chrono::steady_clock::now().time_since_epoch().count()};
  m_shared->count.store(index + 1, std::memory_order_release);
}

void Arrivals::Clear() {
  m_shared->count.store(0);
}

std::uint32_t Arrivals::Count() const {
  return m_shared->count.load(std::memory_order_acquire);
}

std::vector<Arrivals::Entry> Arrivals::All() const {
  return {m_shared->entries.begin(), m_shared->entries.begin() + Count()};
}

PageServer::PageServer(const std::string& page, Arrivals& arrivals)
    : m_reply("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " + std::to_string(page.size()) +
              "\r\nConnection: close\r\n\r\n" + page),
      m_arrivals(arrivals),
      m_listener(loopback::BoundSocket(m_port)),
      m_epoll(::epoll_create1(EPOLL_CLOEXEC)) {
  // A connection is handed over when its request is there, so that most need no epoll at all.
  const int seconds = 1;
  ::setsockopt(m_listener.Get(), IPPROTO_TCP, TCP_DEFER_ACCEPT, &seconds, sizeof seconds);
  if (::listen(m_listener.Get(), Backlog) != 0) loopback::ThrowErrno("listen");
  Watch(m_listener.Get());
  m_thread = std::thread(&PageServer::Run, this);
}

PageServer::~PageServer() {
  m_isEnding = true;
  m_thread.join();
}

void PageServer::Watch(int fd) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = fd;
  if (::epoll_ctl(m_epoll.Get(), EPOLL_CTL_ADD, fd, &event) != 0 && errno != EEXIST)
    loopback::ThrowErrno("epoll_ctl");
}

void PageServer::Run() {
  std::array<epoll_event, 256> events;
  while (!m_isEnding) {
    const int count = ::epoll_wait(m_epoll.Get(), events.data(), events.size(), WaitMilliseconds);
    for (int i = 0; i < count; ++i) {
      const int fd = events[static_cast<std::size_t>(i)].data.fd;
      if (fd == m_listener.Get())
        AcceptAll();
      else
        Serve(FileDescriptor(fd));
    }
  }
}

void PageServer::AcceptAll() {
  for (;;) {
    FileDescriptor connection(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!connection) return;
    Serve(std::move(connection));
  }
}

/// A connection that is kept alive: epoll gives it back here.
void PageServer::Serve(FileDescriptor connection) {
  std::array<char, 2048> buffer;
  const auto got = ::recv(connection.Get(), buffer.data(), buffer.size(), 0);
  if (got < 0 && errno == EAGAIN) return Watch(connection.Release());
  const std::string_view request(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  if (!request.starts_with(RequestHead)) return;
  std::uint32_t monitor = 0;
  const auto path = request.substr(RequestHead.size());
  if (std::from_chars(path.data(), path.data() + path.size(), monitor).ec == std::errc())
    m_arrivals.Note(monitor);
  if (path.starts_with("hung")) return Watch(connection.Release());
  ::send(connection.Get(), m_reply.data(), m_reply.size(), MSG_NOSIGNAL);
}

}  // namespace norvane::bench
