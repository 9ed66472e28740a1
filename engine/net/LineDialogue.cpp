#include "engine/net/LineDialogue.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "engine/net/PeerReason.h"
#include "platform/NumericAddress.h"

namespace norvane::engine {

namespace {

constexpr const char* ClosedByServer = "connection closed by the server";
/// How often a server is received from before the loop looks after others; with TLS each time gives a record.
constexpr int MaxReceipts = 4;
constexpr int MaxTlsReceipts = 256;

}  // namespace

LineDialogue::LineDialogue(ProbeContext& context, EventOwner& owner, Client& client)
    : m_context(context),
      m_owner(&owner),
      m_client(&client),
      m_attemptEnds(context.loop, owner, [this] { EndAttempt(); }) {}

LineDialogue::~LineDialogue() {
  if (m_ssl && m_state == State::Open) {
    ERR_clear_error();
    SSL_shutdown(m_ssl.get());  // sends close_notify if it can be sent now, and waits for none
  }
  Close();
}

void LineDialogue::Close() noexcept {
  m_attemptEnds.Clear();
  m_ssl.reset();
  m_context.loop.Close(m_socket);
  m_watchedFor = 0;
}

void LineDialogue::Fail(std::string why) {
  m_failure = std::move(why);
  Close();
}

void LineDialogue::CallClient() {
  if (m_state == State::Open || !m_failure.empty()) m_client->GoOn();
}

std::string_view LineDialogue::Step() const {
  switch (m_state) {
    case State::LookingUp:
      return "looking up the name";
    case State::Connecting:
      if (IsConnected()) break;
      return "connecting";
    case State::Securing:
      return "TLS handshake";
    case State::Open:
      break;
  }
  return {};
}

void LineDialogue::Open(const ServerAddress& server, std::chrono::milliseconds timeout) {
  m_server = server;
  m_timeout = timeout;
  if (const auto* answer = m_context.resolver.Known(server.host)) return Resolved(*answer);
  m_query = m_context.resolver.LookUp(
      server.host, *m_owner, [this](const Resolver::Answer& answer) { Resolved(answer); }, m_timeout);
}

void LineDialogue::Resolved(const Resolver::Answer& answer) {
  m_query.reset();
  if (answer.addresses.empty()) {
    Fail(answer.failure);
  } else {
    m_state = State::Connecting;
    m_deadline = m_context.loop.Now() + m_timeout;
    m_addresses.assign(answer.addresses.rbegin(), answer.addresses.rend());
    TryNextAddress({});
  }
  CallClient();
}

void LineDialogue::TryNextAddress(std::string whyNot) {
  Close();
  while (!m_addresses.empty()) {
    const auto address = std::move(m_addresses.back());
    m_addresses.pop_back();
    const int error = BeginConnecting(address);
    if (error == 0) return ShareTime();
    whyNot = ConnectionFailure(error, "cannot connect");
  }
  Fail(std::move(whyNot));
}

/// The error, or 0 when the connection is on its way.
int LineDialogue::BeginConnecting(const std::string& address) {
  const auto peer = platform::ParseNumericAddress(address, static_cast<std::uint16_t>(m_server.port));
  if (!peer) return EAFNOSUPPORT;
  m_socket.Reset(::socket(peer->storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!m_socket) return errno;
  if (::connect(m_socket.Get(), &peer->Get(), peer->size) != 0 && errno != EINPROGRESS) return errno;
  // The client begins TLS. Otherwise the server speaks first, and an event for the connection would be
  // wasted.
  WatchFor(m_server.isSecure ? EPOLLOUT : EPOLLIN);
  return 0;
}

/// The last address has all the time that is left, which the client looks after.
void LineDialogue::ShareTime() {
  if (m_addresses.empty() || !m_failure.empty()) return;
  const auto now = m_context.loop.Now();
  m_attemptEnds.Set(now + (m_deadline - now) / (m_addresses.size() + 1));
}

void LineDialogue::EndAttempt() {
  if (IsConnected())
    FinishConnecting();
  else
    TryNextAddress("no answer");
  CallClient();
}

bool LineDialogue::IsConnected() const {
  sockaddr_storage peer{};
  socklen_t size = sizeof peer;
  return ::getpeername(m_socket.Get(), reinterpret_cast<sockaddr*>(&peer), &size) == 0;
}

void LineDialogue::FinishConnecting() {
  int error = 0;
  socklen_t size = sizeof error;
  ::getsockopt(m_socket.Get(), SOL_SOCKET, SO_ERROR, &error, &size);
  if (error == ECONNRESET) {  // it was accepted, and is cut already
    m_state = State::Open;
    return Fail(ConnectionFailure(error, {}));
  }
  if (error != 0) return TryNextAddress(ConnectionFailure(error, "cannot connect"));
  m_attemptEnds.Clear();
  if (m_server.isSecure) return BeginTls(true);
  BecomeOpen();
}

void LineDialogue::BecomeOpen() {
  m_state = State::Open;
  Flush();
}

void LineDialogue::Secure(bool verifies) {
  m_state = State::Securing;
  if (m_consumed < m_in.size()) return Fail("unexpected data before the TLS handshake");
  BeginTls(verifies);
}

void LineDialogue::HandOver(EventOwner& owner, Client& client) {
  m_owner = &owner;
  m_client = &client;
  m_received = 0;
}

bool LineDialogue::IsQuiet() {
  m_isDry = false;
  m_receipts = 0;
  return m_state == State::Open && !NextLine() && m_failure.empty() && m_in.empty();
}

void LineDialogue::KeepAlive() {
  constexpr int Idle = 30, Interval = 10, Count = 3, Unanswered = 60000;  // seconds, and milliseconds
  const auto set = [this](int level, int option, int value) {
    ::setsockopt(m_socket.Get(), level, option, &value, sizeof value);
  };
  set(SOL_SOCKET, SO_KEEPALIVE, 1);
  set(IPPROTO_TCP, TCP_KEEPIDLE, Idle);
  set(IPPROTO_TCP, TCP_KEEPINTVL, Interval);
  set(IPPROTO_TCP, TCP_KEEPCNT, Count);
  set(IPPROTO_TCP, TCP_USER_TIMEOUT, Unanswered);
}

void LineDialogue::BeginTls(bool verifies) {
  m_state = State::Securing;
  const int yes = 1;  // the end of the handshake and the line behind it would wait for each other
  ::setsockopt(m_socket.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  m_ssl = m_context.tls.Connect(m_socket.Get(), m_server.host, verifies);
  if (!m_ssl) return Fail(std::string(AuthoritiesUnreadable));
  Handshake();
}

void LineDialogue::Handshake() {
  ERR_clear_error();
  errno = 0;
  const int result = SSL_do_handshake(m_ssl.get());
  if (result == 1) return BecomeOpen();
  if (!WouldBlock(result)) return Fail(TlsClient::HandshakeFailure(m_ssl.get(), m_server.host));
  WatchFor(SSL_want_write(m_ssl.get()) ? EPOLLOUT : EPOLLIN);
}

void LineDialogue::Ready(int, std::uint32_t events) {
  if (m_state == State::Connecting) {
    FinishConnecting();
  } else if (m_state == State::Securing) {
    Handshake();
  } else if ((events & EPOLLOUT) != 0) {
    Flush();
  }
  m_isDry = false;
  m_receipts = 0;
  CallClient();
}

std::optional<std::string_view> LineDialogue::NextLine() {
  while (m_state == State::Open && m_failure.empty()) {
    if (auto line = ExtractLine()) return line;
    if (m_isDry || !Receive()) break;
  }
  return std::nullopt;
}

std::optional<std::string_view> LineDialogue::ExtractLine() {
  const auto end = m_in.find('\n', m_consumed);
  if ((end == std::string::npos ? m_in.size() : end) - m_consumed > MaxLine) {
    Fail("line longer than " + std::to_string(MaxLine) + " characters");
    return std::nullopt;
  }
  if (end == std::string::npos) {
    m_in.erase(0, std::exchange(m_consumed, 0));
    return std::nullopt;
  }
  auto line = std::string_view(m_in).substr(m_consumed, end - m_consumed);
  m_consumed = end + 1;
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

/// False when nothing has come, or the dialogue has failed.
bool LineDialogue::Receive() {
  if (!m_failure.empty()) return false;
  std::array<char, MaxLine> buffer;
  if (m_ssl) ERR_clear_error();
  const auto got = m_ssl ? SSL_read(m_ssl.get(), buffer.data(), buffer.size())
                         : static_cast<int>(::recv(m_socket.Get(), buffer.data(), buffer.size(), 0));
  if (got <= 0) {
    m_isDry = WouldBlock(got);
    if (!m_isDry) Fail(ReceiveFailure(got));
    return false;
  }
  const auto size = static_cast<std::size_t>(got);
  ++m_receipts;
  m_isDry = m_ssl ? m_receipts >= MaxTlsReceipts && SSL_pending(m_ssl.get()) == 0
                  : m_receipts >= MaxReceipts || size < buffer.size();  // which saves asking once more
  m_in.append(buffer.data(), size);
  m_received += size;
  if (m_received > MaxReceived) Fail("more than " + std::to_string(MaxReceived >> 10) + " KiB received");
  return m_failure.empty();
}

bool LineDialogue::WouldBlock(int result) const {
  if (!m_ssl) return result < 0 && (errno == EAGAIN || errno == EINTR);
  const int error = SSL_get_error(m_ssl.get(), result);
  return error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE;
}

std::string LineDialogue::ReceiveFailure(int result) const {
  const int systemError = errno;
  if (!m_ssl) return result == 0 ? ClosedByServer : ConnectionFailure(systemError, "connection broken");
  const int error = SSL_get_error(m_ssl.get(), result);
  if (error == SSL_ERROR_SYSCALL) return ConnectionFailure(systemError, ClosedByServer);
  if (error == SSL_ERROR_ZERO_RETURN) return ClosedByServer;
  const char* words = ERR_reason_error_string(ERR_peek_error());
  return std::string("TLS broken: ") + (words != nullptr ? words : "unknown error");
}

void LineDialogue::Send(std::string_view text) {
  m_out += text;
  if (m_state == State::Open && m_failure.empty()) Flush();
}

void LineDialogue::Flush() {
  while (!m_out.empty()) {
    if (m_ssl) ERR_clear_error();
    const auto sent =
        m_ssl ? SSL_write(m_ssl.get(), m_out.data(), static_cast<int>(m_out.size()))
              : static_cast<int>(::send(m_socket.Get(), m_out.data(), m_out.size(), MSG_NOSIGNAL));
    if (sent <= 0 && WouldBlock(sent)) break;
    // What is wrong with the connection shows in reading, after the server's last words.
    m_out.erase(0, sent > 0 ? static_cast<std::size_t>(sent) : std::string::npos);
  }
  WatchFor(m_out.empty() ? EPOLLIN : EPOLLIN | EPOLLOUT);
}

void LineDialogue::WatchFor(std::uint32_t events) {
  if (std::exchange(m_watchedFor, events) == events) return;
  if (!m_context.loop.Watch(m_socket.Get(), events, *this)) Fail("cannot watch the connection");
}

std::string LineDialogue::LocalAddress() const {
  platform::SocketAddress own;
  own.size = sizeof own.storage;
  auto* generic = reinterpret_cast<sockaddr*>(&own.storage);
  return ::getsockname(m_socket.Get(), generic, &own.size) == 0 ? platform::NumericAddressText(*generic) : "";
}

}  // namespace norvane::engine
