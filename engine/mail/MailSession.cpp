#include "engine/mail/MailSession.h"

#include <algorithm>
#include <utility>

#include "platform/Ascii.h"

namespace norvane::engine {

namespace {

/// `text` with "***" for every secret in it, whatever its letter case.
std::string Masked(std::string_view text, const std::vector<std::string>& secrets) {
  std::string masked;
  while (!text.empty()) {
    const auto secret = std::ranges::find_if(secrets, [&](const std::string& each) {
      return !each.empty() && platform::StartsWithIgnoringCase(text, each);
    });
    const bool isSecret = secret != secrets.end();
    masked += isSecret ? "***" : text.substr(0, 1);
    text.remove_prefix(isSecret ? secret->size() : 1);
  }
  return masked;
}

}  // namespace

MailSession::MailSession(ProbeContext& context, std::string_view protocol, const ServerSchemes& schemes,
                         std::string server, std::chrono::milliseconds timeout, ProbeClient& client)
    : m_protocol(protocol),
      m_schemes(schemes),
      m_context(context),
      m_server(std::move(server)),
      m_timeout(timeout),
      m_client(client) {}

void MailSession::Begin() {
  if (auto failure = InputFailure(); !failure.empty()) return m_client.Ended(Failure(failure));
  m_dialogue = DequeueKept();
  if (!m_dialogue) return Open();
  m_dialogue->HandOver(m_client, *this);
  EndBy(Resume());
}

void MailSession::Open() {
  const auto address = ServerAddress::Parse(m_server, m_schemes);
  if (!address) return m_client.Ended("invalid " + std::string(m_protocol) + " server address");
  m_dialogue = std::make_unique<LineDialogue>(m_context, m_client, static_cast<LineDialogue::Client&>(*this));
  m_client.BeginStep(m_timeout);
  m_dialogue->Open(*address, m_timeout);
}

std::string_view MailSession::Step() const {
  const auto step = m_dialogue->Step();
  return step.empty() ? StepName() : step;
}

void MailSession::GoOn() {
  while (const auto line = m_dialogue->NextLine()) {
    auto outcome = Receive(*line);
    if (outcome) return EndBy(std::move(outcome));
    if (std::exchange(m_reconnects, false)) {
      SayGoodbye();
      return Open();
    }
  }
  const auto& failure = m_dialogue->Failure();
  if (failure.empty()) return;
  const bool wasTalking = m_dialogue->Step().empty();
  if (BeginsAnew()) return Open();
  m_client.Ended(wasTalking ? Failure(std::string(StepName()) + ": " + failure) : failure);
}

void MailSession::EndBy(Outcome outcome) {
  if (!outcome) return;
  Leave(outcome->empty());
  m_client.Ended(std::move(*outcome));
}

void MailSession::Leave(bool) {
  SayGoodbye();
}

void MailSession::SayGoodbye() {
  m_dialogue->Send("QUIT\r\n");
}

std::string MailSession::Failure(std::string_view what) const {
  return std::string(m_protocol) + ": " + std::string(what);
}

std::string MailSession::Refused(std::string_view reply) const {
  return Failure(std::string(StepName()) + " refused: " + Masked(reply, m_secrets));
}

std::string MailSession::WrongProtocol() const {
  return "the reply is not " + std::string(m_protocol);
}

}  // namespace norvane::engine
