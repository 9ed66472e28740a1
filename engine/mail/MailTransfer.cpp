#include "engine/mail/MailTransfer.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "engine/mail/MailSession.h"
#include "engine/mail/MailText.h"
#include "platform/Ascii.h"
#include "platform/Blanks.h"
#include "platform/RandomText.h"
#include "platform/Utf8.h"

namespace norvane::engine {

namespace {

constexpr ServerSchemes Schemes{"smtp", 25, "smtps", 465};
constexpr std::size_t CodeSize = 3;

class MailTransfer final : public MailSession {
 public:
  MailTransfer(ProbeContext& context, Mail mail, std::chrono::milliseconds timeout, ProbeClient& client)
      : MailSession(context, "SMTP", Schemes, mail.server, timeout, client), m_mail(std::move(mail)) {
    for (auto* address : {&m_mail.from, &m_mail.to})
      *address = std::string(platform::Trimmed(*address));
  }

 private:
  enum At : std::size_t { Greeting, Ehlo, Helo, StartTls, MailFrom, RcptTo, Data, Text, Done, Refusal };
  struct Row {
    std::string_view name;                   ///< in reasons
    std::string (MailTransfer::*command)();  ///< what is said; none: the server speaks first
    char good;                               ///< the first digit of the answer that accepts it
    At accepted;                             ///< what follows that
    At refused;                              ///< what follows another answer
  };
  static const std::array<Row, Done> Rows;

  [[nodiscard]] std::string InputFailure() const override;
  [[nodiscard]] std::string_view StepName() const override { return Rows[m_at].name; }
  [[nodiscard]] Outcome Receive(std::string_view line) override;
  void ParseExtension(std::string_view name);
  [[nodiscard]] Outcome Answered();
  [[nodiscard]] Outcome Enter(At at);
  [[nodiscard]] const std::string& Self();

  [[nodiscard]] std::string SayEhlo() { return "EHLO " + Self(); }
  [[nodiscard]] std::string SayHelo() { return "HELO " + Self(); }
  [[nodiscard]] std::string SayStartTls() { return "STARTTLS"; }
  [[nodiscard]] std::string SayMailFrom();
  [[nodiscard]] std::string SayRcptTo() { return "RCPT TO:<" + m_mail.to + ">"; }
  [[nodiscard]] std::string SayData() { return "DATA"; }
  [[nodiscard]] std::string SayText();

  Mail m_mail;
  std::string m_self;  // once it is asked for
  At m_at = Greeting;
  std::string m_answer;  // code and text of all lines so far
  bool m_offersTls = false;
  bool m_offersUtf8 = false;
};

const std::array<MailTransfer::Row, MailTransfer::Done> MailTransfer::Rows{{
    {"greeting", nullptr, '2', Ehlo, Refusal},
    {"EHLO", &MailTransfer::SayEhlo, '2', StartTls, Helo},
    {"HELO", &MailTransfer::SayHelo, '2', MailFrom, Refusal},
    {"STARTTLS", &MailTransfer::SayStartTls, '2', Ehlo, MailFrom},
    {"MAIL FROM", &MailTransfer::SayMailFrom, '2', RcptTo, Refusal},
    {"RCPT TO", &MailTransfer::SayRcptTo, '2', Data, Refusal},
    {"DATA", &MailTransfer::SayData, '3', Text, Refusal},
    {"message", &MailTransfer::SayText, '2', Done, Refusal},
}};

/// Parts of an address that would end it in a command or a header.
constexpr std::string_view AddressBreakers = " <>";

std::string AddressFailure(std::string_view what, std::string_view address) {
  auto failure = ArgumentFailure(what, address);
  if (failure.empty() && address.find_first_of(AddressBreakers) != std::string_view::npos)
    failure = "the " + std::string(what) + " is not a bare mail address";
  return failure;
}

/// This machine's name, if it is one that a stranger could look up.
std::string FullHostName() {
  std::array<char, 256> buffer{};
  if (::gethostname(buffer.data(), buffer.size() - 1) != 0) return {};
  const auto address = ServerAddress::Parse(buffer.data(), Schemes);
  return address && address->host.find('.') != std::string::npos ? address->host : std::string();
}

std::string MailTransfer::InputFailure() const {
  auto failure = AddressFailure("sender", m_mail.from);
  return failure.empty() ? AddressFailure("recipient", m_mail.to) : failure;
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
  const bool needsUtf8 = !platform::IsAscii(m_mail.from + m_mail.to);
  return "MAIL FROM:<" + m_mail.from + ">" + (needsUtf8 ? " SMTPUTF8" : "");
}

std::string MailTransfer::SayText() {
  return DotStuffed(MessageText(m_mail, Self(), platform::RandomText(16), std::chrono::system_clock::now()));
}

MailTransfer::Outcome MailTransfer::Receive(std::string_view line) {
  const bool hasCode =
      line.size() >= CodeSize && std::all_of(line.begin(), line.begin() + CodeSize, platform::IsAsciiDigit);
  const char mark = line.size() > CodeSize ? line[CodeSize] : ' ';
  if (!hasCode || (mark != ' ' && mark != '-')) return WrongProtocol();
  const auto text = line.substr(std::min(line.size(), CodeSize + 1));
  if (m_at == Ehlo) ParseExtension(text.substr(0, text.find(' ')));
  if (m_answer.empty()) m_answer = line.substr(0, CodeSize);
  m_answer.append(" ").append(text);
  return mark == '-' ? std::nullopt : Answered();
}

void MailTransfer::ParseExtension(std::string_view name) {
  m_offersTls = m_offersTls || platform::EqualsIgnoringCase(name, "STARTTLS");
  m_offersUtf8 = m_offersUtf8 || platform::EqualsIgnoringCase(name, "SMTPUTF8");
}

MailTransfer::Outcome MailTransfer::Answered() {
  const auto& row = Rows[m_at];
  const auto answer = std::exchange(m_answer, {});
  const bool isAccepted = answer.front() == row.good;
  // By 421 a server says at any step that it is closing the connection.
  if (!isAccepted && (row.refused == Refusal || answer.starts_with("421"))) return Refused(answer);
  if (isAccepted && m_at == StartTls) Dialogue().Secure();
  return Enter(isAccepted ? row.accepted : row.refused);
}

MailTransfer::Outcome MailTransfer::Enter(At at) {
  if (at == Done) return std::string();
  if (at == StartTls && (!m_offersTls || Dialogue().IsSecured())) at = MailFrom;
  if (at == MailFrom && !m_offersUtf8 && !platform::IsAscii(m_mail.from + m_mail.to))
    return Failure("the server does not support SMTPUTF8");
  m_at = at;
  Dialogue().Send((this->*Rows[at].command)() + "\r\n");
  return std::nullopt;
}

}  // namespace

std::unique_ptr<Probe> MakeMailTransfer(ProbeContext& context, Mail mail, std::chrono::milliseconds timeout,
                                        ProbeClient& client) {
  return std::make_unique<MailTransfer>(context, std::move(mail), timeout, client);
}

}  // namespace norvane::engine
