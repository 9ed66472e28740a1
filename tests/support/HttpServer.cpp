#include "tests/support/HttpServer.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "tests/support/Loopback.h"

namespace norvane::tests {

using platform::FileDescriptor;
using SteadyClock = std::chrono::steady_clock;

/// One connection: reads a request, plays its script.
class HttpServer::Connection {
 public:
  Connection(HttpServer& server, FileDescriptor fd) : m_server(server), m_fd(std::move(fd)) {
    if (server.m_onConnect) Play(*server.m_onConnect);
    if (m_playing || !server.m_tls) return;
    m_tls.reset(SSL_new(server.m_tls.get()));
    SSL_set_fd(m_tls.get(), m_fd.Get());
    SSL_set_accept_state(m_tls.get());
  }
  /// Does what can be done now. False when the connection is over.
  bool Go(std::uint32_t events) {
    if ((events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0) return false;
    if (!m_playing && !ReadRequest()) return false;
    return !m_playing || Send();
  }
  ~Connection() { m_server.m_paced -= IsPaced(); }
  [[nodiscard]] bool IsPaced() const { return m_playing && m_script.pace.count() > 0; }
  /// False when the connection is over.
  bool GoPaced(SteadyClock::time_point now) {
    if (now < m_next) return true;
    m_next = now + m_script.pace;
    m_allowed += m_sent < m_script.bytes.size() ? 1 : m_script.forEver.size();
    return Send();
  }

 private:
  void Play(Script script) {
    m_script = std::move(script);
    m_playing = true;
    if (!IsPaced()) return;
    ++m_server.m_paced;
    m_allowed = 0;
  }

  bool ReadRequest() {
    std::array<char, 16384> buffer;
    for (;;) {
      const auto got = m_tls ? SSL_read(m_tls.get(), buffer.data(), buffer.size())
                             : static_cast<int>(::recv(m_fd.Get(), buffer.data(), buffer.size(), 0));
      if (got <= 0) return got < 0 && WouldBlock(got);
      m_request.append(buffer.data(), static_cast<std::size_t>(got));
      if (m_request.find("\r\n\r\n") == std::string::npos) continue;
      Play(m_server.Answer(m_request));
      return true;
    }
  }

  bool Send() {
    for (;;) {
      const auto rest = Rest();
      if (rest.empty()) return m_sent < m_script.bytes.size() || !m_script.forEver.empty() || Finish();
      const auto sent = m_tls ? SSL_write(m_tls.get(), rest.data(), static_cast<int>(rest.size()))
                              : static_cast<int>(::send(m_fd.Get(), rest.data(), rest.size(), MSG_NOSIGNAL));
      if (sent <= 0) return WouldBlock(sent) && Watch(EPOLLOUT | EPOLLRDHUP);
      m_sent += static_cast<std::size_t>(sent);
      m_allowed -= static_cast<std::size_t>(sent);
    }
  }

  /// What may be sent now.
  [[nodiscard]] std::string_view Rest() const {
    std::string_view rest = m_script.bytes;
    if (m_sent < rest.size())
      rest.remove_prefix(m_sent);
    else if (!m_script.forEver.empty())
      rest = std::string_view(m_script.forEver).substr((m_sent - rest.size()) % m_script.forEver.size());
    else
      rest = {};
    return rest.substr(0, m_allowed);
  }

  bool Finish() {
    if (m_script.end == End::Silence) return Watch(EPOLLRDHUP);
    if (m_script.end == End::Reset) {
      const linger now{1, 0};
      ::setsockopt(m_fd.Get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    } else if (m_tls) {
      SSL_shutdown(m_tls.get());
    }
    return false;
  }

  bool WouldBlock(int result) const {
    if (!m_tls) return errno == EAGAIN;
    const int error = SSL_get_error(m_tls.get(), result);
    return error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE;
  }

  bool Watch(std::uint32_t events) const {
    epoll_event event{};
    event.events = events;
    event.data.fd = m_fd.Get();
    return ::epoll_ctl(m_server.m_epoll.Get(), EPOLL_CTL_MOD, m_fd.Get(), &event) == 0;
  }

  HttpServer& m_server;
  FileDescriptor m_fd;
  TlsConnection m_tls;
  std::string m_request;
  Script m_script;
  bool m_playing = false;
  std::size_t m_sent = 0;
  std::size_t m_allowed = std::string::npos;  // how many more bytes the pace lets through
  SteadyClock::time_point m_next{};
};

HttpServer::HttpServer(const Options& options)
    : m_scheme(options.tls ? "https" : "http"),
      m_onConnect(options.onConnect),
      m_tls(ServerContext(options.tls ? &*options.tls : nullptr)),
      m_listener(BoundSocket(m_port)),
      m_epoll(::epoll_create1(EPOLL_CLOEXEC)) {
  if (::listen(m_listener.Get(), SOMAXCONN) != 0) Fail("listen");
  for (const int fd : {m_listener.Get(), m_stop.Fd()}) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    if (::epoll_ctl(m_epoll.Get(), EPOLL_CTL_ADD, fd, &event) != 0) Fail("epoll_ctl");
  }
  m_thread = std::thread([this] { Run(); });
}

HttpServer::~HttpServer() {
  m_stop.Signal();
  m_thread.join();
}

std::string HttpServer::Url(const std::string& path, const std::string& host) const {
  return m_scheme + "://" + host + ":" + std::to_string(m_port) + path;
}

void HttpServer::Set(const std::string& path, Script script) {
  const std::lock_guard lock(m_mutex);
  m_scripts[path] = std::move(script);
}

std::vector<std::string> HttpServer::Requests() const {
  const std::lock_guard lock(m_mutex);
  return m_requests;
}

HttpServer::Script HttpServer::Answer(const std::string& request) {
  const auto from = request.find(' ') + 1;
  const auto target = request.substr(from, request.find(' ', from) - from);
  const std::lock_guard lock(m_mutex);
  if (m_keepsRequests) m_requests.push_back(request);
  auto script = m_scripts.find(target);
  if (script == m_scripts.end()) script = m_scripts.find(target.substr(0, target.find('?')));
  return script == m_scripts.end() ? Reply("nothing here", "text/plain", "404 Not Found") : script->second;
}

HttpServer::Script HttpServer::Reply(const std::string& body, const std::string& contentType,
                                     const std::string& status) {
  return {"HTTP/1.1 " + status + "\r\nContent-Type: " + contentType +
          "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body};
}

HttpServer::Script HttpServer::Redirect(const std::string& location) {
  return {"HTTP/1.1 302 Found\r\nLocation: " + location + "\r\nContent-Length: 0\r\n\r\n"};
}

void HttpServer::Accept() {
  for (;;) {
    FileDescriptor fd(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!fd) return;
    const int number = fd.Get();
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = number;
    if (::epoll_ctl(m_epoll.Get(), EPOLL_CTL_ADD, number, &event) != 0) Fail("epoll_ctl");
    auto connection = std::make_unique<Connection>(*this, std::move(fd));
    if (connection->Go(EPOLLIN)) m_connections[number] = std::move(connection);
  }
}

void HttpServer::PlayPaced() {
  const auto now = SteadyClock::now();
  std::erase_if(m_connections,
                [&](auto& entry) { return entry.second->IsPaced() && !entry.second->GoPaced(now); });
}

void HttpServer::Run() {
  sigset_t pipe;  // OpenSSL writes without MSG_NOSIGNAL
  ::sigemptyset(&pipe);
  ::sigaddset(&pipe, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  std::array<epoll_event, 256> events;
  for (;;) {
    const int count = ::epoll_wait(m_epoll.Get(), events.data(), events.size(), m_paced > 0 ? 1 : -1);
    for (int i = 0; i < count; ++i) {
      const auto& event = events[static_cast<std::size_t>(i)];
      const int fd = event.data.fd;
      if (fd == m_stop.Fd()) return m_connections.clear();
      if (fd == m_listener.Get()) {
        Accept();
      } else if (const auto at = m_connections.find(fd);
                 at != m_connections.end() && !at->second->Go(event.events)) {
        m_connections.erase(at);
      }
    }
    if (m_paced > 0) PlayPaced();
  }
}

RefusingPort::RefusingPort() : m_socket(BoundSocket(m_port)) {}

StalledPort::StalledPort() : m_socket(BoundSocket(m_port)) {
  if (::listen(m_socket.Get(), 0) != 0) Fail("listen");
  const auto address = Loopback(m_port);
  for (int i = 0; i < 4; ++i) {
    m_queued.push_back(NewSocket());
    // In progress or refused a place: the queue fills either way.
    static_cast<void>(
        ::connect(m_queued.back().Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }
}

}  // namespace norvane::tests
