#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/mail/MailArguments.h"
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

  /// What is never shown, even if a server says it.
  std::vector<std::string> m_secrets;
  /// Set by `Receive`: the session begins anew, on another connection, for which it is prepared.
  bool m_reconnects = false;

  /// Why the session cannot even begin; empty if it can.
  [[nodiscard]] virtual std::string InputFailure() const = 0;
  /// A connection on which an earlier session was good, if there is one; `Resume` goes on with it.
  [[nodiscard]] virtual std::unique_ptr<LineDialogue> DequeueKept() { return nullptr; }
  [[nodiscard]] virtual Outcome Resume() { return std::nullopt; }
  /// The session has ended.
  virtual void Leave(bool isGood);
  /// Of the step that waits for an answer.
  [[nodiscard]] virtual std::string_view StepName() const = 0;
  [[nodiscard]] virtual Outcome Receive(std::string_view line) = 0;
  /// The connection broke, or could not be made. True if the session begins anew, on another one, and is
  /// prepared for it.
  [[nodiscard]] virtual bool BeginsAnew() { return false; }

  [[nodiscard]] ProbeContext& Context() { return m_context; }
  [[nodiscard]] ProbeClient& Owner() { return m_client; }
  [[nodiscard]] LineDialogue& Dialogue() { return *m_dialogue; }
  [[nodiscard]] const LineDialogue& Dialogue() const { return *m_dialogue; }
  /// In `Leave`.
  [[nodiscard]] std::unique_ptr<LineDialogue> ReleaseDialogue() { return std::move(m_dialogue); }
  /// Ends the session, and this object, if there is an outcome.
  void EndBy(Outcome outcome);
  /// A failure of the protocol, for the user.
  [[nodiscard]] std::string Failure(std::string_view what) const;
  /// The server refused the present step, with its reply.
  [[nodiscard]] std::string Refused(std::string_view reply) const;
  [[nodiscard]] std::string WrongProtocol() const;

 private:
  void GoOn() final;
  void Open();
  void SayGoodbye();

  std::string_view m_protocol;
  ServerSchemes m_schemes;
  ProbeContext& m_context;
  std::string m_server;
  std::chrono::milliseconds m_timeout;
  ProbeClient& m_client;
  std::unique_ptr<LineDialogue> m_dialogue;
};

}  // namespace norvane::engine
