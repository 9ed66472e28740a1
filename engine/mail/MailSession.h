#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "engine/net/LineDialogue.h"

namespace norvane::engine {

/// What POP3 and SMTP have in common: one session with a server, step by step, that ends by a QUIT whose
/// answer nobody waits for, since a server may take its time over it. A protocol adds its table of steps.
class MailSession : public Probe, private LineDialogue::Client {
 public:
  void Begin() final;
  [[nodiscard]] std::string_view Step() const final;
  [[nodiscard]] bool IsQueued() const final { return m_dialogue->IsQueued(); }

 protected:
  /// How the session ended: empty when it is good, else why not. None while it goes on.
  using Outcome = std::optional<std::string>;

  /// `protocol` heads the reasons ("POP3"). `timeout` is shared among the server's addresses.
  MailSession(ProbeContext& context, std::string_view protocol, const ServerSchemes& schemes,
              std::string server, std::chrono::milliseconds timeout, ProbeClient& client);

  /// What is never shown, even if a server says it; empty if there is none.
  std::string m_secret;

  /// Why the session cannot even begin; empty if it can.
  [[nodiscard]] virtual std::string InputFailure() const = 0;
  /// Of the step that waits for an answer.
  [[nodiscard]] virtual std::string_view StepName() const = 0;
  [[nodiscard]] virtual Outcome Receive(std::string_view line) = 0;
  /// The connection broke. True if the session begins anew, on another one, and is prepared for it.
  [[nodiscard]] virtual bool BeginsAnew() { return false; }

  [[nodiscard]] LineDialogue& Dialogue() { return *m_dialogue; }
  /// A failure of the protocol, for the user.
  [[nodiscard]] std::string Failure(std::string_view what) const;
  /// The server refused the present step, with its reply.
  [[nodiscard]] std::string Refused(std::string_view reply) const;
  [[nodiscard]] std::string WrongProtocol() const;

 private:
  void GoOn() final;
  void Open();

  std::string_view m_protocol;
  ServerSchemes m_schemes;
  ProbeContext& m_context;
  std::string m_server;
  std::chrono::milliseconds m_timeout;
  ProbeClient& m_client;
  std::optional<LineDialogue> m_dialogue;
};

/// Why `text` cannot be said in a command, as "the account is too long" for `what` "account";
/// empty if it can. Whatever could end a line, and so begin a command of its own, is among the reasons.
[[nodiscard]] std::string ArgumentFailure(std::string_view what, std::string_view text);

}  // namespace norvane::engine
