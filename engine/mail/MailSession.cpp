#include "engine/mail/MailSession.h"

#include <utility>

#include "engine/net/Reason.h"
#include "platform/Ascii.h"

namespace norvane::engine {

namespace {

/// Servers are bound to take lines of 512 bytes and no more.
constexpr std::size_t MaxArgument = 480;

/// `text` with "***" for every `secret` in it, whatever its letter case.
std::string Masked(std::string_view text, const std::string& secret) {
  std::string masked;
  while (!text.empty()) {
    const bool isSecret = !secret.empty() && platform::StartsWithIgnoringCase(text, secret);
    masked += isSecret ? "***" : text.substr(0, 1);
    text.remove_prefix(isSecret ? secret.size() : 1);
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
  Open();
}

void MailSession::Open() {
  const auto address = ServerAddress::Parse(m_server, m_schemes);
  if (!address) return m_client.Ended("invalid " + std::string(m_protocol) + " server address");
  m_dialogue.emplace(m_context, m_client, static_cast<LineDialogue::Client&>(*this));
  m_dialogue->Open(*address, m_timeout);
}

std::string_view MailSession::Step() const {
  const auto step = m_dialogue->Step();
  return step.empty() ? StepName() : step;
}

void MailSession::GoOn() {
  while (const auto line = m_dialogue->NextLine()) {
    if (auto outcome = Receive(*line)) {
      m_dialogue->Send("QUIT\r\n");
      return m_client.Ended(std::move(*outcome));
    }
  }
  const auto& failure = m_dialogue->Failure();
  if (failure.empty()) return;
  const bool wasTalking = m_dialogue->Step().empty();
  if (wasTalking && BeginsAnew()) return Open();
  m_client.Ended(wasTalking ? Failure(std::string(StepName()) + ": " + failure) : failure);
}

std::string MailSession::Failure(std::string_view what) const {
  return std::string(m_protocol) + ": " + std::string(what);
}

std::string MailSession::Refused(std::string_view reply) const {
  return Failure(std::string(StepName()) + " refused: " + Masked(reply, m_secret));
}

std::string MailSession::WrongProtocol() const {
  return "the reply is not " + std::string(m_protocol);
}

std::string ArgumentFailure(std::string_view what, std::string_view text) {
  const auto the = "the " + std::string(what);
  if (text.empty()) return the + " is missing";
  if (text.size() > MaxArgument) return the + " is too long";
  if (PlainText(text, text.size()) != text) return the + " contains invalid characters";
  return {};
}

}  // namespace norvane::engine
