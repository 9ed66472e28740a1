#include <openssl/evp.h>

#include <array>
#include <charconv>
#include <utility>

#include "console/engine/MonitorKeys.h"
#include "engine/checks/ProbeType.h"
#include "engine/mail/MailSession.h"
#include "platform/Ascii.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {

constexpr ServerSchemes Schemes{"pop3", 110, "pop3s", 995};

/// The check of a POP3 monitor (RFC 1939): logs on to the server at "Monitor_Parameter" with
/// "MonitorExt_PopAccount" and "MonitorExt_PopPass", and is good when the mailbox holds at least one mail,
/// none of which it touches. Logs on by APOP where the server offers it, and by USER and PASS when that is
/// refused, since servers offer APOP to accounts that cannot use it.
///
/// TLS: with the scheme pop3s the certificate is promised and verified. Otherwise STLS is used when it is
/// offered, without asking who the server is, since whoever could pretend to be it could as well hide the
/// offer (RFC 7435). A server that offers it never gets the password in the clear: if TLS then fails, so does
/// the check.
class Pop3Probe final : public MailSession {
 public:
  Pop3Probe(ProbeContext& context, const Attributes& attributes, std::chrono::milliseconds timeout,
            ProbeClient& client)
      : MailSession(context, "POP3", Schemes, attributes.Get(keys::Parameter), timeout, client),
        m_account(attributes.Get(keys::PopAccount)) {
    m_secrets = {attributes.Get(keys::PopPass)};
  }

 private:
  enum At : std::size_t { Greeting, Capa, Stls, Apop, User, Pass, Stat, Done, Refusal };
  struct Row {
    std::string_view name;                      ///< in reasons
    std::string (Pop3Probe::*command)() const;  ///< what is said; none: the server speaks first
    At accepted;                                ///< what follows "+OK"
    At refused;                                 ///< what follows "-ERR"
  };
  static const std::array<Row, Done> Rows;

  [[nodiscard]] std::string InputFailure() const override;
  [[nodiscard]] std::string_view StepName() const override { return Rows[m_at].name; }
  [[nodiscard]] Outcome Receive(std::string_view line) override;
  [[nodiscard]] bool BeginsAnew() override;
  [[nodiscard]] Outcome ReceiveStatus(std::string_view line);
  void ParseCapability(std::string_view line);
  [[nodiscard]] Outcome Enter(At at);
  [[nodiscard]] bool Skips(At at);
  [[nodiscard]] Outcome Judge(std::string_view text) const;

  [[nodiscard]] std::string SayCapa() const { return "CAPA"; }
  [[nodiscard]] std::string SayStls() const { return "STLS"; }
  [[nodiscard]] std::string SayApop() const;
  [[nodiscard]] std::string SayUser() const { return "USER " + m_account; }
  [[nodiscard]] std::string SayPass() const { return "PASS " + m_secrets[0]; }
  [[nodiscard]] std::string SayStat() const { return "STAT"; }

  std::string m_account;
  std::string m_timestamp;  // of the greeting, if it offers APOP
  At m_at = Greeting;
  bool m_isListing = false;  // the lines behind CAPA's "+OK"
  bool m_offersTls = false;
  bool m_triedApop = false;
  bool m_begunAnew = false;
};

const std::array<Pop3Probe::Row, Pop3Probe::Done> Pop3Probe::Rows{{
    {"greeting", nullptr, Capa, Refusal},
    {"CAPA", &Pop3Probe::SayCapa, Stls, Stls},
    {"STLS", &Pop3Probe::SayStls, Capa, Refusal},
    {"logon", &Pop3Probe::SayApop, Stat, User},
    {"logon", &Pop3Probe::SayUser, Pass, Refusal},
    {"logon", &Pop3Probe::SayPass, Stat, Refusal},
    {"STAT", &Pop3Probe::SayStat, Done, Refusal},
}};

/// The message id that a greeting offers for APOP; empty if it offers none. Anything but printable ASCII with
/// an "@" in it is none (RFC 1939), which keeps false servers from choosing it to their liking.
std::string Timestamp(std::string_view greeting) {
  const auto from = greeting.find('<');
  const auto end = greeting.find('>', from == std::string_view::npos ? 0 : from);
  if (from == std::string_view::npos || end == std::string_view::npos) return {};
  const auto id = greeting.substr(from, end - from + 1);
  for (const char c : id)
    if (c <= ' ' || c > '~') return {};
  return id.find('@') == std::string_view::npos ? std::string() : std::string(id);
}

/// In hexadecimal digits; empty where the machine's rules forbid MD5.
std::string Md5(const std::string& text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_md5(), nullptr) != 1) return {};
  std::string hex;
  for (unsigned i = 0; i < size; ++i)
    hex += platform::HexText(digest[i]);
  return hex;
}

std::string Pop3Probe::InputFailure() const {
  auto failure = ArgumentFailure("account", m_account);
  return failure.empty() ? ArgumentFailure("password", m_secrets[0]) : failure;
}

std::string Pop3Probe::SayApop() const {
  return "APOP " + m_account + " " + Md5(m_timestamp + m_secrets[0]);
}

Pop3Probe::Outcome Pop3Probe::Receive(std::string_view line) {
  if (!std::exchange(m_isListing, false)) return ReceiveStatus(line);
  if (line == ".") return Enter(Rows[Capa].accepted);
  ParseCapability(line);
  m_isListing = true;
  return std::nullopt;
}

void Pop3Probe::ParseCapability(std::string_view line) {
  const auto name = line.substr(0, line.find(' '));
  m_offersTls = m_offersTls || platform::EqualsIgnoringCase(name, "STLS");
}

Pop3Probe::Outcome Pop3Probe::ReceiveStatus(std::string_view line) {
  const auto& row = Rows[m_at];
  const auto indicator = line.substr(0, line.find(' '));
  const auto text = line.substr(std::min(line.size(), indicator.size() + 1));
  if (indicator == "-ERR") return row.refused == Refusal ? Refused(text) : Enter(row.refused);
  if (indicator != "+OK") return WrongProtocol();
  if (m_at == Greeting) m_timestamp = Timestamp(text);
  if (m_at == Stls) Dialogue().Secure(false);
  if (m_at == Stat) return Judge(text);
  if (m_at != Capa) return Enter(row.accepted);
  m_isListing = true;
  return std::nullopt;
}

bool Pop3Probe::Skips(At at) {
  if (at == Stls) return !m_offersTls || Dialogue().IsSecured();
  return at == Apop && (m_triedApop || m_timestamp.empty() || m_account.find(' ') != std::string::npos);
}

Pop3Probe::Outcome Pop3Probe::Enter(At at) {
  while (Skips(at))
    at = at == Stls ? Apop : User;
  m_at = at;
  m_triedApop = m_triedApop || at == Apop;
  Dialogue().Send((this->*Rows[at].command)() + "\r\n");
  return std::nullopt;
}

/// Some servers hang up on a logon that failed, which would leave no way to fall back from APOP.
bool Pop3Probe::BeginsAnew() {
  const bool wasApop = m_at == Apop || (m_at == User && m_triedApop);
  if (!wasApop || std::exchange(m_begunAnew, true)) return false;
  m_at = Greeting;
  m_offersTls = false;
  return true;
}

Pop3Probe::Outcome Pop3Probe::Judge(std::string_view text) const {
  std::uint64_t mails = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), mails).ec != std::errc())
    return WrongProtocol();
  return mails > 0 ? std::string() : Failure("mailbox empty");
}

class Pop3Type final : public ProbeType {
 public:
  explicit Pop3Type(ProbeContext& context) : m_context(context) {}
  std::unique_ptr<Probe> Make(const CheckTarget& target, std::chrono::milliseconds timeout,
                              ProbeClient& client) override {
    return std::make_unique<Pop3Probe>(m_context, *target.attributes, timeout, client);
  }

 private:
  ProbeContext& m_context;
};

}  // namespace

std::unique_ptr<ProbeType> MakePop3Type(ProbeContext& context) {
  return std::make_unique<Pop3Type>(context);
}

}  // namespace norvane::engine
