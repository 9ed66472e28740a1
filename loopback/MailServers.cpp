#include "loopback/MailServers.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <chrono>
#include <utility>

#include "platform/Ascii.h"
#include "platform/Base64.h"

namespace norvane::loopback {

using End = MailAnswer::End;

namespace {

/// The point at which the end of a mail's text is answered.
constexpr const char* EndOfText = ".";
/// Likewise of what follows AUTH.
constexpr const char* EndOfLogon = "=";

std::string Verb(const std::string& line) {
  return platform::AsciiUpper(line.substr(0, line.find(' ')));
}

/// The text after the first `separator`.
std::string Behind(const std::string& line, char separator) {
  const auto at = line.find(separator);
  return at == std::string::npos ? "" : line.substr(at + 1);
}

std::string Hmac(const std::string& key, const std::string& text) {
  std::string digest(32, '\0');
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(text.data()), text.size(),
       reinterpret_cast<unsigned char*>(digest.data()), nullptr);
  return digest;
}

/// RFC 8018, one block of it.
std::string Pbkdf2(const std::string& password, const std::string& salt, int iterations) {
  auto round = Hmac(password, salt + std::string("\0\0\0\1", 4)), key = round;
  for (int i = 1; i < iterations; ++i) {
    round = Hmac(password, round);
    for (std::size_t at = 0; at < key.size(); ++at)
      key[at] = static_cast<char>(key[at] ^ round[at]);
  }
  return key;
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
  const bool wasInText = session.isInText, wasLoggingOn = session.IsLoggingOn();
  auto answer = line != nullptr ? Answer(session, *line) : Greet(session);
  const std::lock_guard lock(m_mutex);
  if (line != nullptr && !wasInText && !wasLoggingOn) {
    m_commands.push_back((session.isSecured ? "tls " : "") + *line);
    m_moreCommands.notify_all();
  }
  if (wasInText && session.isInText) return answer;
  const auto point = line == nullptr ? Greeting
                     : wasInText     ? EndOfText
                     : wasLoggingOn  ? EndOfLogon
                                     : Verb(*line);
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
         (m_smtp.offersUtf8 ? "250-SMTPUTF8\r\n" : "") +
         (m_smtp.mechanisms.empty() || (m_smtp.hidesThemInTls && session.isSecured)
              ? ""
              : "250-AUTH " + m_smtp.mechanisms + "\r\n") +
         (m_smtp.maxSize == 0 ? "" : "250-SIZE " + std::to_string(m_smtp.maxSize) + "\r\n") +
         (m_smtp.limits.empty() ? "" : "250-LIMITS " + m_smtp.limits + "\r\n") + "250 8BITMIME\r\n";
}

MailAnswer SmtpServer::LogOn(Session& session) {
  const auto& said = session.logon;
  const bool isLogin = session.mechanism == "LOGIN";
  if (session.mechanism == "SCRAM-SHA-256") return LogOnByScram(session);
  if (said.empty()) return {isLogin ? "334 VXNlcm5hbWU6\r\n" : "334 \r\n"};
  if (isLogin && said.size() == 1) return {"334 UGFzc3dvcmQ6\r\n"};
  session.mechanism.clear();
  const auto expected = isLogin ? std::vector{m_smtp.user, m_smtp.password}
                                : std::vector{'\0' + m_smtp.user + '\0' + m_smtp.password};
  return {said == expected ? "235 welcome\r\n" : "535 5.7.8 no such user or password\r\n"};
}

/// RFC 5802, from the server's side.
MailAnswer SmtpServer::LogOnByScram(Session& session) const {
  const auto& said = session.logon;
  const auto challenge = [](const std::string& text) {
    return MailAnswer{"334 " + platform::EncodeBase64(text) + "\r\n"};
  };
  if (said.empty()) return challenge("");
  const auto bare = said[0].substr(std::min<std::size_t>(said[0].size(), 3));  // behind "n,,"
  const auto nonce = Behind(bare, ',') + "server";
  const auto first = nonce + ",s=c2FsdA==,i=4096";
  if (said.size() == 1) return challenge(first);
  if (said.size() == 3) {
    session.mechanism.clear();
    return {"235 welcome\r\n"};
  }
  const auto unproven = said[1].substr(0, said[1].rfind(",p="));
  const auto text = bare + "," + first + "," + unproven;
  const auto salted = Pbkdf2(m_smtp.password, "salt", 4096);
  auto proof = Hmac(salted, "Client Key");
  std::string stored(proof.size(), '\0');
  EVP_Digest(proof.data(), proof.size(), reinterpret_cast<unsigned char*>(stored.data()), nullptr,
             EVP_sha256(), nullptr);
  const auto signature = Hmac(stored, text);
  for (std::size_t i = 0; i < proof.size(); ++i)
    proof[i] = static_cast<char>(proof[i] ^ signature[i]);
  const bool isGood = bare.starts_with("n=" + m_smtp.user + ",") && unproven == "c=biws," + nonce &&
                      said[1] == unproven + ",p=" + platform::EncodeBase64(proof);
  if (isGood && !m_smtp.forgesSignature)
    return challenge("v=" + platform::EncodeBase64(Hmac(Hmac(salted, "Server Key"), text)));
  if (m_smtp.forgesSignature) return challenge("v=" + platform::EncodeBase64(std::string(32, 'x')));
  session.mechanism.clear();
  return {"535 5.7.8 no such user or password\r\n"};
}

MailAnswer SmtpServer::ReceiveText(Session& session, const std::string& line) {
  session.isInText = line != ".";
  if (session.isInText) {
    session.text += (line.starts_with(".") ? line.substr(1) : line) + "\r\n";
    return {};
  }
  const std::lock_guard lock(m_mutex);
  ++session.mails;
  m_mails.push_back({session.from, session.to, std::exchange(session.text, {}), session.isSecured});
  return {"250 accepted\r\n"};
}

MailAnswer SmtpServer::Answer(Session& session, const std::string& line) {
  if (session.isInText) return ReceiveText(session, line);
  if (session.IsLoggingOn()) {
    session.logon.push_back(platform::DecodeBase64(line).value_or("?"));
    return LogOn(session);
  }
  const auto verb = Verb(line), argument = Behind(line, ' ');
  if (verb == "EHLO") return {Extensions(session)};
  if (verb == "HELO") return {"250 mail.test\r\n"};
  if (verb == "STARTTLS")
    return OffersTls(session) ? MailAnswer{"220 begin\r\n", End::Tls} : MailAnswer{"502 no\r\n"};
  if (verb == "QUIT") return {"221 bye\r\n", End::Close};
  if (verb == "AUTH") {
    session.mechanism = platform::AsciiUpper(argument.substr(0, argument.find(' ')));
    session.logon.clear();
    if (const auto response = Behind(argument, ' '); !response.empty())
      session.logon.push_back(platform::DecodeBase64(response).value_or("?"));
    return LogOn(session);
  }
  if (verb == "MAIL" && m_smtp.maxMails != 0 && session.mails == m_smtp.maxMails)
    return {"421 too many messages\r\n", End::Close};
  if (verb == "MAIL") {
    session.from = Behind(line, ':');
    session.to.clear();
  }
  if (verb == "RCPT") {
    const auto to = Behind(line, ':');
    if (const auto refused = m_smtp.refused.find(to); refused != m_smtp.refused.end())
      return {refused->second + "\r\n"};
    session.to += to;
  }
  if (verb == "DATA") session.isInText = true;
  if (verb == "DATA") return {"354 go on\r\n"};
  return {verb == "MAIL" || verb == "RCPT" ? "250 fine\r\n" : "500 unknown command\r\n"};
}

}  // namespace norvane::loopback
