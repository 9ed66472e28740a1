#include "tests/support/MailServers.h"

#include <netinet/tcp.h>
#include <openssl/evp.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "tests/support/Loopback.h"

namespace norvane::tests {

using platform::FileDescriptor;
using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;
using End = MailAnswer::End;

namespace {

/// The point at which the end of a mail's text is answered.
constexpr const char* EndOfText = ".";

std::string Verb(const std::string& line) {
  auto verb = line.substr(0, line.find(' '));
  for (char& c : verb)
    c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return verb;
}

/// What stands behind the first `separator`.
std::string Behind(const std::string& line, char separator) {
  const auto at = line.find(separator);
  return at == std::string::npos ? "" : line.substr(at + 1);
}

}  // namespace

class MailServer::Connection {
 public:
  Connection(MailServer& server, FileDescriptor fd) : m_server(server), m_fd(std::move(fd)) {
    const int yes = 1;
    ::setsockopt(m_fd.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    if (server.m_options.isTlsFromStart) BeginTls();
    Say(server.Respond(m_session, nullptr));
  }

  /// Waits for time to pass rather than for the client.
  [[nodiscard]] bool IsTimed() const {
    return HasMoreToSay() && m_answer.delay + m_answer.pace > milliseconds(0);
  }
  /// Does what can be done now. False when the connection is over.
  bool Go() {
    do {
      while (HasMoreToSay())
        if (!SendSome()) return !m_isBroken;
      if (!m_hasEnded && !Finish()) return false;
    } while (TakeCommand());
    return !m_isBroken;
  }

 private:
  void BeginTls() {
    m_tls.reset(SSL_new(m_server.m_tls.get()));
    SSL_set_fd(m_tls.get(), m_fd.Get());
    SSL_set_accept_state(m_tls.get());
    m_session.isSecured = true;
  }

  void Say(MailAnswer answer) {
    m_answer = std::move(answer);
    if (m_answer.pace == milliseconds(0)) m_answer.pace = m_server.m_options.pace;
    m_next = SteadyClock::now() + m_answer.delay;
    m_sent = 0;
    m_hasEnded = false;
  }

  [[nodiscard]] bool HasMoreToSay() const {
    return m_sent < m_answer.bytes.size() || !m_answer.forEver.empty();
  }

  /// False when nothing can be sent now.
  bool SendSome() {
    const auto now = SteadyClock::now();
    if (now < m_next) return false;
    if (m_answer.pace > milliseconds(0)) m_next = now + m_answer.pace;
    if (m_sent >= m_answer.bytes.size()) m_answer.bytes += m_answer.forEver;
    const auto rest = std::string_view(m_answer.bytes).substr(m_sent);
    const auto size = m_answer.pace > milliseconds(0) ? 1 : rest.size();
    const auto sent = m_tls ? SSL_write(m_tls.get(), rest.data(), static_cast<int>(size))
                            : static_cast<int>(::send(m_fd.Get(), rest.data(), size, MSG_NOSIGNAL));
    m_isBroken = sent <= 0 && !WouldBlock(sent);
    if (sent <= 0) return false;
    m_sent += static_cast<std::size_t>(sent);
    if (!m_answer.forEver.empty()) m_answer.bytes.erase(0, std::exchange(m_sent, 0));
    return true;
  }

  /// False when the connection is over.
  bool Finish() {
    m_hasEnded = true;
    if (m_answer.end == End::Tls) BeginTls();
    if (m_answer.end == End::Reset) {
      const linger now{1, 0};
      ::setsockopt(m_fd.Get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    } else if (m_answer.end == End::Close && m_tls) {
      SSL_shutdown(m_tls.get());
    }
    return m_answer.end != End::Close && m_answer.end != End::Reset;
  }

  /// False when no whole command has come.
  bool TakeCommand() {
    std::array<char, 4096> buffer;
    auto end = m_in.find("\r\n");
    while (end == std::string::npos || m_answer.end == End::Silence) {
      const auto got = m_tls ? SSL_read(m_tls.get(), buffer.data(), buffer.size())
                             : static_cast<int>(::recv(m_fd.Get(), buffer.data(), buffer.size(), 0));
      m_isBroken = got == 0 || (got < 0 && !WouldBlock(got));
      if (got <= 0) return false;
      m_in.append(buffer.data(), static_cast<std::size_t>(got));
      end = m_in.find("\r\n");
    }
    const auto line = m_in.substr(0, end);
    m_in.erase(0, end + 2);
    Say(m_server.Respond(m_session, &line));
    return true;
  }

  [[nodiscard]] bool WouldBlock(int result) const {
    if (!m_tls) return errno == EAGAIN;
    const int error = SSL_get_error(m_tls.get(), result);
    return error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE;
  }

  MailServer& m_server;
  FileDescriptor m_fd;
  TlsConnection m_tls;
  Session m_session;
  std::string m_in;
  MailAnswer m_answer;
  std::size_t m_sent = 0;
  SteadyClock::time_point m_next{};
  bool m_hasEnded = false;
  bool m_isBroken = false;
};

MailServer::MailServer(const Options& options)
    : m_options(options),
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
}

MailServer::~MailServer() = default;

void MailServer::Start() {
  m_thread = std::thread([this] { Run(); });
}

void MailServer::Stop() {
  m_stop.Signal();
  m_thread.join();
}

std::string MailServer::Address(const std::string& host) const {
  return host + ":" + std::to_string(m_port);
}

void MailServer::Set(const std::string& point, MailAnswer answer) {
  const std::lock_guard lock(m_mutex);
  m_answers[point] = std::move(answer);
}

std::vector<std::string> MailServer::Commands() const {
  const std::lock_guard lock(m_mutex);
  return m_commands;
}

std::vector<std::string> MailServer::WaitForCommands(std::size_t count) {
  std::unique_lock lock(m_mutex);
  m_moreCommands.wait_for(lock, std::chrono::seconds(10), [&] { return m_commands.size() >= count; });
  return m_commands;
}

bool MailServer::OffersTls(const Session& session) const {
  return m_tls != nullptr && !session.isSecured;
}

MailAnswer MailServer::Respond(Session& session, const std::string* line) {
  const bool wasInText = session.isInText;
  auto answer = line != nullptr ? Answer(session, *line) : Greet(session);
  const std::lock_guard lock(m_mutex);
  if (line != nullptr && !wasInText) {
    m_commands.push_back((session.isSecured ? "tls " : "") + *line);
    m_moreCommands.notify_all();
  }
  if (wasInText && session.isInText) return answer;
  const auto point = line == nullptr ? Greeting : wasInText ? EndOfText : Verb(*line);
  const auto changed = m_answers.find(point);
  return changed == m_answers.end() ? answer : changed->second;
}

void MailServer::Accept() {
  for (;;) {
    FileDescriptor fd(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!fd) return;
    const int number = fd.Get();
    epoll_event event{};
    // Edges, so that one need not tell the kernel each time what one waits for.
    event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
    event.data.fd = number;
    if (::epoll_ctl(m_epoll.Get(), EPOLL_CTL_ADD, number, &event) != 0) Fail("epoll_ctl");
    auto connection = std::make_unique<Connection>(*this, std::move(fd));
    if (connection->Go()) m_connections[number] = std::move(connection);
  }
}

void MailServer::Run() {
  sigset_t pipe;  // OpenSSL writes without MSG_NOSIGNAL
  ::sigemptyset(&pipe);
  ::sigaddset(&pipe, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  std::array<epoll_event, 256> events;
  for (bool isTimed = false;;) {
    const int count = ::epoll_wait(m_epoll.Get(), events.data(), events.size(), isTimed ? 1 : -1);
    for (int i = 0; i < count; ++i) {
      const auto& event = events[static_cast<std::size_t>(i)];
      const auto at = m_connections.find(event.data.fd);
      if (event.data.fd == m_stop.Fd()) return m_connections.clear();
      if (event.data.fd == m_listener.Get()) {
        Accept();
      } else if (at != m_connections.end() && ((event.events & EPOLLHUP) != 0 || !at->second->Go())) {
        m_connections.erase(at);
      }
    }
    isTimed = false;
    std::erase_if(m_connections, [&](auto& entry) {
      auto& connection = *entry.second;
      if (connection.IsTimed() && !connection.Go()) return true;
      isTimed = isTimed || connection.IsTimed();
      return false;
    });
  }
}

Pop3Server::Pop3Server(const Pop3Options& options) : MailServer(options.common), m_pop3(options) {
  Start();
}

void Pop3Server::SetAccount(const std::string& name, Account account) {
  const std::lock_guard lock(m_mutex);
  m_accounts[name] = std::move(account);
}

MailAnswer Pop3Server::Greet(Session&) {
  return {"+OK ready " + m_pop3.timestamp + "\r\n"};
}

std::string Pop3Server::Capabilities(const Session& session) const {
  if (!m_pop3.hasCapabilities) return "-ERR unknown command\r\n";
  return std::string("+OK list follows\r\nTOP\r\nUIDL\r\n") + (OffersTls(session) ? "STLS\r\n" : "") +
         "USER\r\n.\r\n";
}

bool Pop3Server::KnowsDigest(const std::string& account, const std::string& digest) {
  const std::lock_guard lock(m_mutex);
  const auto text = m_pop3.timestamp + m_accounts[account].password;
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes;
  unsigned size = 0;
  EVP_Digest(text.data(), text.size(), bytes.data(), &size, EVP_md5(), nullptr);
  std::array<char, 2 * EVP_MAX_MD_SIZE + 1> hex{};
  for (unsigned i = 0; i < size; ++i)
    std::snprintf(&hex[2 * i], 3, "%02x", bytes[i]);
  return digest == hex.data();
}

MailAnswer Pop3Server::LogOn(Session& session, const std::string& password) {
  const std::lock_guard lock(m_mutex);
  const auto account = m_accounts.find(session.account);
  if (account == m_accounts.end() || account->second.password != password)
    return {"-ERR wrong account or password\r\n"};
  return {"+OK logged on\r\n"};
}

MailAnswer Pop3Server::Answer(Session& session, const std::string& line) {
  const auto verb = Verb(line);
  const auto argument = Behind(line, ' ');
  if (verb == "CAPA") return {Capabilities(session)};
  if (verb == "STLS")
    return OffersTls(session) ? MailAnswer{"+OK begin\r\n", End::Tls} : MailAnswer{"-ERR no\r\n"};
  if (verb == "QUIT") return {"+OK bye\r\n", End::Close};
  if (verb == "APOP") {
    session.account = argument.substr(0, argument.find(' '));
    const bool isGood = !m_pop3.refusesApop && KnowsDigest(session.account, Behind(argument, ' '));
    return {isGood ? "+OK logged on\r\n" : "-ERR not by APOP\r\n"};
  }
  if (verb == "USER") {
    session.account = argument;
    return {"+OK\r\n"};
  }
  if (verb == "PASS") return LogOn(session, argument);
  if (verb != "STAT") return {"-ERR unknown command\r\n"};
  const std::lock_guard lock(m_mutex);
  const int mails = m_accounts[session.account].mails;
  return {"+OK " + std::to_string(mails) + " " + std::to_string(1000 * mails) + "\r\n"};
}

SmtpServer::SmtpServer(const SmtpOptions& options) : MailServer(options.common), m_smtp(options) {
  Start();
}

std::vector<SmtpServer::ReceivedMail> SmtpServer::Mails() const {
  const std::lock_guard lock(m_mutex);
  return m_mails;
}

MailAnswer SmtpServer::Greet(Session&) {
  return {"220-mail.test\r\n220 ready\r\n"};
}

std::string SmtpServer::Extensions(const Session& session) const {
  if (!m_smtp.knowsEhlo) return "500 unknown command\r\n";
  return std::string("250-mail.test\r\n") + (OffersTls(session) ? "250-STARTTLS\r\n" : "") +
         (m_smtp.offersUtf8 ? "250-SMTPUTF8\r\n" : "") + "250 8BITMIME\r\n";
}

MailAnswer SmtpServer::TakeText(Session& session, const std::string& line) {
  session.isInText = line != ".";
  if (session.isInText) {
    session.text += (line.starts_with(".") ? line.substr(1) : line) + "\r\n";
    return {};
  }
  const std::lock_guard lock(m_mutex);
  m_mails.push_back({session.from, session.to, std::exchange(session.text, {}), session.isSecured});
  return {"250 taken\r\n"};
}

MailAnswer SmtpServer::Answer(Session& session, const std::string& line) {
  if (session.isInText) return TakeText(session, line);
  const auto verb = Verb(line);
  if (verb == "EHLO") return {Extensions(session)};
  if (verb == "HELO") return {"250 mail.test\r\n"};
  if (verb == "STARTTLS")
    return OffersTls(session) ? MailAnswer{"220 begin\r\n", End::Tls} : MailAnswer{"502 no\r\n"};
  if (verb == "QUIT") return {"221 bye\r\n", End::Close};
  if (verb == "MAIL") session.from = Behind(line, ':');
  if (verb == "RCPT") session.to = Behind(line, ':');
  if (verb == "DATA") session.isInText = true;
  if (verb == "DATA") return {"354 go on\r\n"};
  return {verb == "MAIL" || verb == "RCPT" ? "250 fine\r\n" : "500 unknown command\r\n"};
}

}  // namespace norvane::tests
