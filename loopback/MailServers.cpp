#include "loopback/MailServers.h"

#include <openssl/evp.h>

#include <array>
#include <chrono>
#include <utility>

#include "platform/Ascii.h"

namespace norvane::loopback {

using End = MailAnswer::End;

namespace {

/// The point at which the end of a mail's text is answered.
constexpr const char* EndOfText = ".";

std::string Verb(const std::string& line) {
  return platform::AsciiUpper(line.substr(0, line.find(' ')));
}

/// The text after the first `separator`.
std::string Behind(const std::string& line, char separator) {
  const auto at = line.find(separator);
  return at == std::string::npos ? "" : line.substr(at + 1);
}

}  // namespace

MailServer::MailServer(Options options) : m_options(std::move(options)) {}

void MailServer::Start() {
  m_server.emplace(m_options, [this] { return Begin(); });
}

LoopbackServer::Dialogue MailServer::Begin() {
  return [this, session = Session{}](std::string& received, bool isSecured) mutable -> std::optional<Saying> {
    session.isSecured = isSecured;
    if (!std::exchange(session.isGreeted, true)) return Respond(session, nullptr);
    const auto end = received.find("\r\n");
    if (end == std::string::npos) return std::nullopt;
    const auto line = received.substr(0, end);
    received.erase(0, end + 2);
    return Respond(session, &line);
  };
}

std::string MailServer::Address(const std::string& host) const {
  return host + ":" + std::to_string(Port());
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
  return m_options.tls && !session.isSecured;
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

MailAnswer SmtpServer::ReceiveText(Session& session, const std::string& line) {
  session.isInText = line != ".";
  if (session.isInText) {
    session.text += (line.starts_with(".") ? line.substr(1) : line) + "\r\n";
    return {};
  }
  const std::lock_guard lock(m_mutex);
  m_mails.push_back({session.from, session.to, std::exchange(session.text, {}), session.isSecured});
  return {"250 accepted\r\n"};
}

MailAnswer SmtpServer::Answer(Session& session, const std::string& line) {
  if (session.isInText) return ReceiveText(session, line);
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

}  // namespace norvane::loopback
