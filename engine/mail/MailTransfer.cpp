#include "engine/mail/MailTransfer.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <utility>

#include "engine/mail/MailConnections.h"
#include "engine/mail/MailServerTable.h"
#include "engine/mail/MailSession.h"
#include "engine/mail/MailText.h"
#include "engine/mail/SaslClient.h"
#include "engine/net/LoopQueue.h"
#include "engine/net/Reason.h"
#include "engine/net/ThreadPool.h"
#include "platform/Ascii.h"
#include "platform/Base64.h"
#include "platform/Blanks.h"
#include "platform/RandomText.h"
#include "platform/Utf8.h"

namespace norvane::engine {

namespace {

constexpr std::size_t CodeSize = 3;
constexpr std::size_t MaxCommand = 510;  // RFC 5321, without its end
/// Mails through one connection, unless the server wants fewer; servers close it after some hundred.
constexpr std::size_t MaxMails = 100;

using Security = MailServerSettings::Security;
using std::chrono::minutes;

ServerSchemes SchemesFor(const MailServerSettings& settings) {
  auto schemes = MailSchemes;
  schemes.isAlwaysSecure = settings.security == Security::Tls;
  if (schemes.isAlwaysSecure) schemes.plainPort = schemes.securePort;
  return schemes;
}

class MailTransfer final : public MailSession {
 public:
  MailTransfer(ProbeContext& context, const MailServerSettings& settings, Mail mail,
               std::chrono::milliseconds timeout, ProbeClient& client, MailConnections* connections)
      : MailSession(context, "SMTP", SchemesFor(settings), mail.server, timeout, client),
        m_settings(settings),
        m_connections(connections),
        m_mail(std::move(mail)) {
    m_mail.from = std::string(platform::Trimmed(m_mail.from));
  }

 private:
  enum At : std::size_t { Greeting, Ehlo, Helo, StartTls, Auth, MailFrom, RcptTo, Data, Text, Done, Refusal };
  /// What the server says of itself.
  struct Offers {
    bool tls = false;
    bool utf8 = false;
    std::string mechanisms{};  ///< of logons, separated by blanks
    std::size_t mails = MaxMails;
    std::size_t size = 0;  ///< of a message, at most; 0: not told
  };
  struct Row {
    std::string_view name;                   ///< in reasons
    std::string (MailTransfer::*command)();  ///< what is said; none: the server speaks first
    char good;                               ///< the first digit of the answer that accepts it
    At accepted;                             ///< what follows that
    At refused;                              ///< what follows another answer
    minutes limit;                           ///< for the answer; the caller's for the greeting
  };
  static const std::array<Row, Done> Rows;

  [[nodiscard]] std::string InputFailure() const override;
  [[nodiscard]] std::string_view StepName() const override { return Rows[m_at].name; }
  [[nodiscard]] SendFailure WhatFailed() const override;
  [[nodiscard]] Outcome Receive(std::string_view line) override;
  [[nodiscard]] bool BeginsAnew() override;
  [[nodiscard]] std::unique_ptr<LineDialogue> DequeueKept() override;
  [[nodiscard]] Outcome Resume() override { return Enter(MailFrom); }
  void Leave(bool isGood) override;
  void ParseExtension(std::string_view text);
  [[nodiscard]] Outcome Answered();
  [[nodiscard]] Outcome Enter(At at);
  [[nodiscard]] At Skipped(At at);
  void Say(const std::string& text);
  [[nodiscard]] SendFailure::Blame BlameOf(std::string_view answer) const;
  [[nodiscard]] std::string WhyNotSendable();
  [[nodiscard]] std::string WhyNotTo(const std::string& recipient) const;
  [[nodiscard]] Outcome AskForRecipients();
  [[nodiscard]] Outcome Accepted();
  void RefuseRecipient(const std::string& why);
  [[nodiscard]] bool IsReplaceable(std::string_view answer) const;
  [[nodiscard]] std::string BeginLogon();
  [[nodiscard]] Outcome Challenged(std::string_view text);
  [[nodiscard]] std::string Encoded(const std::string& response);
  [[nodiscard]] const std::string& Self();

  [[nodiscard]] std::string SayEhlo() { return "EHLO " + Self(); }
  [[nodiscard]] std::string SayHelo() { return "HELO " + Self(); }
  [[nodiscard]] std::string SayStartTls() { return "STARTTLS"; }
  [[nodiscard]] std::string SayAuth();
  [[nodiscard]] std::string SayMailFrom();
  [[nodiscard]] std::string SayRcptTo() { return "RCPT TO:<" + m_mail.to[m_recipient] + ">"; }
  [[nodiscard]] std::string SayData() { return "DATA"; }
  [[nodiscard]] std::string SayText() { return m_text; }

  MailServerSettings m_settings;
  MailConnections* m_connections;  // none if it shares none
  Mail m_mail;
  std::string m_self;  // once it is asked for
  At m_at = Greeting;
  std::string m_answer;  // code of the last line so far, and text of all
  Offers m_offers;
  std::size_t m_recipient = 0;                // that is asked for
  std::string m_refused;                      // recipients, separated by commas
  std::string m_refusal;                      // of the first of them
  bool m_hasRecipient = false;                // that is accepted
  std::string m_left;                         // `m_refused`, once the others have the mail
  std::string m_text;                         // of the mail, as it is sent
  std::optional<SendFailure::Blame> m_blame;  // once the server has refused something
  bool m_begunTls = false;                    // by STARTTLS, on this connection
  bool m_avoidsTls = false;
  bool m_isKept = false;  // the connection has transferred mails before
  std::shared_ptr<SaslClient> m_logon;
  std::optional<std::string> m_firstResponse;  // of a logon, if it was too long for the command
  std::shared_ptr<void> m_computing;           // while the logon computes
};

const std::array<MailTransfer::Row, MailTransfer::Done> MailTransfer::Rows{{
    {"greeting", nullptr, '2', Ehlo, Refusal, {}},
    {"EHLO", &MailTransfer::SayEhlo, '2', StartTls, Helo, minutes(5)},
    {"HELO", &MailTransfer::SayHelo, '2', MailFrom, Refusal, minutes(5)},
    {"STARTTLS", &MailTransfer::SayStartTls, '2', Ehlo, Auth, minutes(2)},
    {"AUTH", &MailTransfer::SayAuth, '2', MailFrom, Refusal, minutes(5)},
    {"MAIL FROM", &MailTransfer::SayMailFrom, '2', RcptTo, Refusal, minutes(5)},
    {"RCPT TO", &MailTransfer::SayRcptTo, '2', Data, Data, minutes(5)},
    {"DATA", &MailTransfer::SayData, '3', Text, Refusal, minutes(2)},
    // A server that has all of it may deliver it, whether or not anybody waits for its answer.
    {"message", &MailTransfer::SayText, '2', Done, Refusal, minutes(10)},
}};

/// This machine's name, if it is one that a stranger could look up.
std::string FullHostName() {
  std::array<char, 256> buffer{};
  if (::gethostname(buffer.data(), buffer.size() - 1) != 0) return {};
  const auto address = ServerAddress::Parse(buffer.data(), MailSchemes);
  return address && address->host.find('.') != std::string::npos ? address->host : std::string();
}

std::string MailTransfer::InputFailure() const {
  if (!m_settings.error.empty()) return m_settings.error;
  auto failure = AddressFailure("sender", m_mail.from);
  if (!failure.empty()) return failure;
  const auto isGood = [](const auto& to) { return AddressFailure("recipient", to).empty(); };
  if (std::ranges::any_of(m_mail.to, isGood)) return {};
  return AddressFailure("recipient", m_mail.to.empty() ? "" : m_mail.to.front());
}

/// How this machine calls itself: by name, else by address (RFC 5321, 4.1.3).
const std::string& MailTransfer::Self() {
  if (m_self.empty()) m_self = FullHostName();
  if (m_self.empty()) {
    const auto address = Dialogue().LocalAddress();
    m_self = (address.find(':') == std::string::npos ? "[" : "[IPv6:") + address + "]";
  }
  return m_self;
}

std::string MailTransfer::SayMailFrom() {
  const bool needsUtf8 =
      !platform::IsAscii(m_mail.from) || !std::ranges::all_of(m_mail.to, &platform::IsAscii);
  return "MAIL FROM:<" + m_mail.from + ">" + (needsUtf8 && m_offers.utf8 ? " SMTPUTF8" : "");
}

/// Empty if the server may be asked.
std::string MailTransfer::WhyNotTo(const std::string& recipient) const {
  if (!m_offers.utf8 && !platform::IsAscii(m_mail.from + recipient))
    return "the server does not support SMTPUTF8";
  return AddressFailure("recipient", recipient);
}

/// Also makes the text. Empty if the server says nothing against it.
std::string MailTransfer::WhyNotSendable() {
  if (std::ranges::none_of(m_mail.to, [this](const auto& to) { return WhyNotTo(to).empty(); })) {
    m_blame = SendFailure::Blame::Recipient;
    return WhyNotTo(m_mail.to.front());
  }
  const auto identity = m_mail.identity.empty() ? platform::RandomText(16) : m_mail.identity;
  m_text = DotStuffed(MessageText(m_mail, Self(), identity, std::chrono::system_clock::now()));
  if (m_offers.size == 0 || m_text.size() <= m_offers.size) return {};
  m_blame = SendFailure::Blame::Message;
  return "message of " + std::to_string(m_text.size()) + " bytes, the server accepts " +
         std::to_string(m_offers.size);
}

MailTransfer::Outcome MailTransfer::Receive(std::string_view line) {
  const bool hasCode =
      line.size() >= CodeSize && std::all_of(line.begin(), line.begin() + CodeSize, platform::IsAsciiDigit);
  const char mark = line.size() > CodeSize ? line[CodeSize] : ' ';
  if (!hasCode || (mark != ' ' && mark != '-')) return WrongProtocol();
  const auto text = line.substr(std::min(line.size(), CodeSize + 1));
  if (m_at == Ehlo) ParseExtension(text);
  m_answer.replace(0, CodeSize, line.substr(0, CodeSize));  // the last one counts
  m_answer.append(" ").append(text);
  return mark == '-' ? std::nullopt : Answered();
}

void MailTransfer::ParseExtension(std::string_view text) {
  const auto name = text.substr(0, text.find(' '));
  const auto rest = text.substr(std::min(text.size(), name.size() + 1));
  const auto is = [&](std::string_view extension) { return platform::EqualsIgnoringCase(name, extension); };
  if (is("STARTTLS")) m_offers.tls = true;
  if (is("SMTPUTF8")) m_offers.utf8 = true;
  if (is("AUTH")) m_offers.mechanisms = rest;
  if (is("SIZE")) std::from_chars(rest.data(), rest.data() + rest.size(), m_offers.size);
  constexpr std::string_view MailMax = "MAILMAX=";  // RFC 9422
  if (const auto at = rest.find(MailMax); is("LIMITS") && at != std::string_view::npos) {
    const auto number = rest.substr(at + MailMax.size());
    std::from_chars(number.data(), number.data() + number.size(), m_offers.mails);
    m_offers.mails = std::min(m_offers.mails, MaxMails);
  }
}

MailTransfer::Outcome MailTransfer::Answered() {
  const auto& row = Rows[m_at];
  const auto answer = std::exchange(m_answer, {});
  const bool isAccepted = answer.front() == row.good;
  if (m_at == Auth && answer.starts_with("334") && !m_computing) return Challenged(answer);
  if (m_at == Auth && isAccepted) {
    if (m_computing) return WrongProtocol();
    if (const auto why = m_logon->Confirm(); !why.empty()) return Failure("AUTH: " + why);
  }
  if (!isAccepted && IsReplaceable(answer)) {
    m_reconnects = BeginsAnew();
    return std::nullopt;
  }
  // By 421 a server says at any step that it is closing the connection.
  if (!isAccepted &&
      (row.refused == Refusal || answer.starts_with("421") || (m_at != RcptTo && m_settings.PromisesTls()))) {
    m_blame = BlameOf(answer);
    return Refused(answer);
  }
  if (m_at == RcptTo) {
    if (!isAccepted) RefuseRecipient(Refused(answer));
    m_hasRecipient = m_hasRecipient || isAccepted;
    ++m_recipient;
    return AskForRecipients();
  }
  if (isAccepted && m_at == StartTls) {
    m_begunTls = true;
    Dialogue().Secure(m_settings.PromisesTls());
  }
  return Enter(isAccepted ? row.accepted : row.refused);
}

/// From this one on; the mail goes to those whom the server accepts.
MailTransfer::Outcome MailTransfer::AskForRecipients() {
  for (; m_recipient < m_mail.to.size(); ++m_recipient) {
    const auto why = WhyNotTo(m_mail.to[m_recipient]);
    if (why.empty()) {
      Say(SayRcptTo());
      return std::nullopt;
    }
    RefuseRecipient(Failure(why));
  }
  if (m_hasRecipient) return Enter(Data);
  m_blame = SendFailure::Blame::Recipient;
  return m_refusal;
}

void MailTransfer::RefuseRecipient(const std::string& why) {
  const auto& recipient = m_mail.to[m_recipient];
  if (m_refused.empty()) m_refusal = why + (m_mail.to.size() > 1 ? " (" + PlainText(recipient) + ")" : "");
  m_refused += (m_refused.empty() ? "" : ",") + recipient;
}

MailTransfer::Outcome MailTransfer::Accepted() {
  if (m_refused.empty()) return std::string();
  m_blame = SendFailure::Blame::Recipient;
  m_left = m_refused;
  return m_refusal + ", the others got it";
}

MailTransfer::Outcome MailTransfer::Enter(At at) {
  if (at == Done) return Accepted();
  at = Skipped(at);
  if (at == StartTls && !m_offers.tls) return Failure("the server does not offer STARTTLS");
  if (at == Auth) {
    if (const auto why = BeginLogon(); !why.empty()) return Failure(why);
  }
  if (at == MailFrom) {
    if (const auto why = WhyNotSendable(); !why.empty()) return Failure(why);
    m_recipient = 0;
    m_refused.clear();
    m_hasRecipient = false;
  }
  if (at == Ehlo) m_offers = {};  // those before TLS may be anybody's
  m_at = at;
  if (at == RcptTo) return AskForRecipients();
  if (at == Text) Dialogue().KeepAlive();
  Say((this->*Rows[at].command)());
  return std::nullopt;
}

void MailTransfer::Say(const std::string& text) {
  Owner().BeginStep(Rows[m_at].limit);
  Dialogue().Send(text + "\r\n");
}

/// `at`, or what follows it if nothing is to be done there.
MailTransfer::At MailTransfer::Skipped(At at) {
  const bool wantsTls = (m_offers.tls && !m_avoidsTls) || m_settings.PromisesTls();
  if (at == StartTls && (Dialogue().IsSecured() || !wantsTls)) at = Auth;
  if (at == Auth && m_settings.user.empty()) at = MailFrom;
  return at;
}

/// Gives why it cannot begin.
std::string MailTransfer::BeginLogon() {
  assert(Dialogue().IsSecured() && m_settings.PromisesTls());
  if (m_offers.mechanisms.empty()) return "the server does not offer AUTH";
  try {
    m_secrets = {ReadPassword(m_settings.passwordFile)};
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  m_logon = MakeSaslClient(m_offers.mechanisms, m_settings.user, m_secrets[0]);
  return m_logon ? "" : "no known way of AUTH is offered: " + m_offers.mechanisms;
}

std::string MailTransfer::SayAuth() {
  const auto command = "AUTH " + std::string(m_logon->Mechanism());
  m_firstResponse = m_logon->Begin();
  if (!m_firstResponse) return command;
  const auto whole = command + " " + Encoded(*m_firstResponse);
  if (whole.size() > MaxCommand) return command;
  m_firstResponse.reset();
  return whole;
}

MailTransfer::Outcome MailTransfer::Challenged(std::string_view text) {
  if (m_firstResponse) {
    Say(Encoded(*std::exchange(m_firstResponse, {})));
    return std::nullopt;
  }
  const auto challenge = platform::DecodeBase64(text.substr(CodeSize + 1));
  if (!challenge) return WrongProtocol();
  if (const auto why = m_logon->Receive(*challenge); !why.empty()) return Failure("AUTH: " + why);
  m_computing = std::make_shared<char>();
  Context().pool.Run(
      0, [logon = m_logon] { logon->Compute(); }, Context().calls,
      [this, &context = Context(), &owner = Owner(), computing = std::weak_ptr<void>(m_computing)] {
        if (computing.expired()) return;  // and with it this object
        context.loop.Serve(owner, [this] {
          m_computing.reset();
          Say(Encoded(m_logon->Respond()));
        });
      });
  return std::nullopt;
}

/// A server may repeat it in its answer.
std::string MailTransfer::Encoded(const std::string& response) {
  return m_secrets.emplace_back(platform::EncodeBase64(response));
}

std::unique_ptr<LineDialogue> MailTransfer::DequeueKept() {
  auto kept = m_connections != nullptr ? m_connections->Dequeue(m_mail.server) : std::nullopt;
  if (!kept) return nullptr;
  m_isKept = true;
  m_self = std::move(kept->self);
  m_offers.utf8 = kept->offersUtf8;
  m_offers.mails = kept->mailsLeft;
  m_offers.size = kept->maxSize;
  return std::move(kept->dialogue);
}

void MailTransfer::Leave(bool isGood) {
  if (m_connections == nullptr || !isGood || m_offers.mails <= 1) return MailSession::Leave(isGood);
  m_connections->Keep(
      {m_mail.server, ReleaseDialogue(), m_self, m_offers.utf8, m_offers.size, m_offers.mails - 1});
}

/// The refusal may be meant for a connection that has lasted too long.
bool MailTransfer::IsReplaceable(std::string_view answer) const {
  return m_isKept && (m_at == MailFrom || (m_at < Text && answer.starts_with('4')));
}

/// Once the message is on its way, only whoever asked for it knows whether it may go twice.
bool MailTransfer::BeginsAnew() {
  const bool lacksTls = m_at == Ehlo && std::exchange(m_begunTls, false) && !m_settings.PromisesTls();
  if (lacksTls && m_mail.goesInTheClear) {
    Context().loop.Log("mail to " + m_mail.server + " goes without TLS: " + Dialogue().Failure());
    m_avoidsTls = true;
  } else if (m_at >= Text || !std::exchange(m_isKept, false)) {
    return false;
  }
  m_at = Greeting;
  m_answer.clear();
  m_offers = {};
  return true;
}

/// What is no more than temporary may be greylisting once the server knows the recipient.
SendFailure::Blame MailTransfer::BlameOf(std::string_view answer) const {
  using Blame = SendFailure::Blame;
  if (answer.starts_with("421")) return Blame::Server;
  const bool isFinal = answer.starts_with('5');
  if (m_at < MailFrom || (m_at == MailFrom && !isFinal)) return Blame::Server;
  if (m_at == RcptTo || !isFinal) return Blame::Recipient;
  const bool isTooLarge = answer.starts_with("552");
  return m_at == MailFrom && !isTooLarge ? Blame::Recipient : Blame::Message;
}

SendFailure MailTransfer::WhatFailed() const {
  using Blame = SendFailure::Blame;
  if (m_blame) return {*m_blame, false, m_left};
  if (m_at == Text) return {Blame::Server, Dialogue().HasSentAll()};
  return {m_settings.error.empty() && !InputFailure().empty() ? Blame::Recipient : Blame::Server};
}

}  // namespace

std::unique_ptr<Probe> MakeMailTransfer(ProbeContext& context, Mail mail, std::chrono::milliseconds timeout,
                                        ProbeClient& client, MailConnections* connections) {
  const auto& settings = context.mailServers.Find(mail.server);
  return std::make_unique<MailTransfer>(context, settings, std::move(mail), timeout, client, connections);
}

}  // namespace norvane::engine
