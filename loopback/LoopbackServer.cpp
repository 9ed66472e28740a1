#include "loopback/LoopbackServer.h"

#include <netinet/tcp.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>
#include <vector>

#include "loopback/Sockets.h"

namespace norvane::loopback {

using platform::FileDescriptor;
using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;
using End = Saying::End;

class LoopbackServer::Connection {
 public:
  Connection(const LoopbackServer& server, FileDescriptor fd)
      : m_server(server), m_fd(std::move(fd)), m_dialogue(server.m_begin()) {
    const int yes = 1;
    ::setsockopt(m_fd.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    if (server.m_options.isTlsFromStart) BeginTls();
    Say(m_dialogue(m_received, m_tls != nullptr));
  }

  /// Waits for time to pass rather than for the client.
  [[nodiscard]] bool IsTimed() const {
    return HasMoreToSay() && m_saying.delay + m_saying.pace > milliseconds(0);
  }
  /// Does what can be done now. False when the connection is over.
  bool Go() {
    do {
      while (HasMoreToSay())
        if (!SendSome()) return !m_isBroken;
      if (!std::exchange(m_hasEnded, true) && !Finish()) return false;
    } while (Hear());
    return !m_isBroken;
  }

 private:
  void BeginTls() {
    m_tls.reset(SSL_new(m_server.m_tls.get()));
    SSL_set_fd(m_tls.get(), m_fd.Get());
    SSL_set_accept_state(m_tls.get());
  }

  /// False if there is nothing to say.
  bool Say(std::optional<Saying> saying) {
    if (!saying) return false;
    m_saying = *std::move(saying);
    if (m_saying.pace == milliseconds(0)) m_saying.pace = m_server.m_options.pace;
    if (m_saying.delay == milliseconds(0)) m_saying.delay = m_server.m_options.delay;
    m_next = SteadyClock::now() + m_saying.delay;
    m_sent = 0;
    m_hasEnded = false;
    return true;
  }

  [[nodiscard]] bool HasMoreToSay() const {
    return m_sent < m_saying.bytes.size() || !m_saying.forEver.empty();
  }

  /// False when nothing can be sent now.
  bool SendSome() {
    const auto now = SteadyClock::now();
    if (now < m_next) return false;
    const bool isPaced = m_saying.pace > milliseconds(0);
    if (isPaced) m_next = now + m_saying.pace;
    const bool isAgain = m_sent == m_saying.bytes.size();
    if (isAgain) {
      m_saying.bytes = m_saying.forEver;
      m_sent = 0;
    }
    const auto rest = std::string_view(m_saying.bytes).substr(m_sent);
    const auto piece = m_saying.piece == 0 ? rest.size() : std::min(m_saying.piece, rest.size());
    const auto size = isPaced && !isAgain ? 1 : piece;
    const auto sent = m_tls ? SSL_write(m_tls.get(), rest.data(), static_cast<int>(size))
                            : static_cast<int>(::send(m_fd.Get(), rest.data(), size, MSG_NOSIGNAL));
    m_isBroken = sent <= 0 && !WouldBlock(sent);
    if (sent <= 0) return false;
    m_sent += static_cast<std::size_t>(sent);
    return true;
  }

  /// False when the connection is over.
  bool Finish() {
    if (m_saying.end == End::Tls) BeginTls();
    if (m_saying.end == End::Reset) {
      const linger now{1, 0};
      ::setsockopt(m_fd.Get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    } else if (m_saying.end == End::Close && m_tls) {
      SSL_shutdown(m_tls.get());
    }
    return m_saying.end != End::Close && m_saying.end != End::Reset;
  }

  /// False when nothing came that is answered.
  bool Hear() {
    std::array<char, 16384> buffer;
    while (m_saying.end == End::Silence || !Say(m_dialogue(m_received, m_tls != nullptr))) {
      const auto got = m_tls ? SSL_read(m_tls.get(), buffer.data(), buffer.size())
                             : static_cast<int>(::recv(m_fd.Get(), buffer.data(), buffer.size(), 0));
      m_isBroken = got == 0 || (got < 0 && !WouldBlock(got));
      if (got <= 0) return false;
      m_received.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return true;
  }

  [[nodiscard]] bool WouldBlock(int result) const {
    if (!m_tls) return errno == EAGAIN;
    const int error = SSL_get_error(m_tls.get(), result);
    return error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE;
  }

  const LoopbackServer& m_server;
  FileDescriptor m_fd;
  TlsConnection m_tls;
  std::string m_received;
  Dialogue m_dialogue;
  Saying m_saying;
  std::size_t m_sent = 0;
  SteadyClock::time_point m_next{};
  bool m_hasEnded = true;
  bool m_isBroken = false;
};

LoopbackServer::LoopbackServer(const Options& options, std::function<Dialogue()> begin)
    : m_begin(std::move(begin)),
      m_options(options),
      m_tls(ServerContext(options.tls ? &*options.tls : nullptr)),
      m_listener(BoundSocket(m_port, options.isOnAllAddresses ? INADDR_ANY : INADDR_LOOPBACK)),
      m_epoll(::epoll_create1(EPOLL_CLOEXEC)) {
  if (m_tls && options.changeTls) options.changeTls(m_tls.get());
  if (::listen(m_listener.Get(), SOMAXCONN) != 0) ThrowErrno("listen");
  Watch(m_listener.Get(), EPOLLIN);
  Watch(m_stop.Fd(), EPOLLIN);
  m_thread = std::thread([this] { Run(); });
}

LoopbackServer::~LoopbackServer() {
  m_stop.Signal();
  m_thread.join();
}

void LoopbackServer::Watch(int fd, std::uint32_t events) const {
  epoll_event event{};
  event.events = events;
  event.data.fd = fd;
  if (::epoll_ctl(m_epoll.Get(), EPOLL_CTL_ADD, fd, &event) != 0) ThrowErrno("epoll_ctl");
}

void LoopbackServer::Accept() {
  for (;;) {
    FileDescriptor fd(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!fd) return;
    const int number = fd.Get();
    if (m_options.accepted) m_options.accepted(number);
    // Edge-triggered, so that what is waited for need not be set anew each time.
    Watch(number, EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET);
    m_connections[number] = std::make_unique<Connection>(*this, std::move(fd));
    Go(number);
  }
}

void LoopbackServer::Go(int fd) {
  const auto at = m_connections.find(fd);
  if (at == m_connections.end()) return;
  const bool goesOn = at->second->Go();
  if (goesOn && at->second->IsTimed())
    m_timed.insert(fd);
  else
    m_timed.erase(fd);
  if (!goesOn) m_connections.erase(at);
}

void LoopbackServer::Run() {
  sigset_t pipe;  // OpenSSL writes without MSG_NOSIGNAL
  ::sigemptyset(&pipe);
  ::sigaddset(&pipe, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  std::array<epoll_event, 256> events;
  for (;;) {
    const int count = ::epoll_wait(m_epoll.Get(), events.data(), events.size(), m_timed.empty() ? -1 : 1);
    for (int i = 0; i < count; ++i) {
      const auto& [what, data] = events[static_cast<std::size_t>(i)];
      if (data.fd == m_stop.Fd()) return m_connections.clear();
      if (data.fd == m_listener.Get()) {
        Accept();
      } else if ((what & EPOLLHUP) != 0) {
        m_timed.erase(data.fd);
        m_connections.erase(data.fd);
      } else {
        Go(data.fd);
      }
    }
    for (const int fd : std::vector<int>(m_timed.begin(), m_timed.end()))
      Go(fd);
  }
}

}  // namespace norvane::loopback
