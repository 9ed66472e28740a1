#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/net/Probe.h"
#include "engine/net/ServerAddress.h"
#include "platform/FileDescriptor.h"

namespace norvane::engine {

/// A conversation in lines with a server that greets first, as POP3 and SMTP hold it: looks up the name,
/// connects, secures the connection, reads and writes lines within limits, and never blocks the loop.
/// Destroying it closes the connection without waiting for anything.
class LineDialogue : private Watcher {
 public:
  class Client {
   public:
    virtual ~Client() = default;
    /// Lines may have come, or the dialogue has failed: time to call `NextLine` until there is none, then to
    /// look at `Failure`. May destroy the dialogue.
    virtual void GoOn() = 0;
  };

  /// Bytes of a line, and of all lines of a dialogue, at most. Servers are bound to far less.
  static constexpr std::size_t MaxLine = 4096;
  static constexpr std::size_t MaxReceived = 64 << 10;

  /// `client`, and `owner` of the dialogue's events, outlive the dialogue or hand it over.
  LineDialogue(ProbeContext& context, EventOwner& owner, Client& client);
  ~LineDialogue() override;
  LineDialogue(const LineDialogue&) = delete;
  LineDialogue& operator=(const LineDialogue&) = delete;

  /// Called once. Tries all addresses of the server in turn, each for its share of `timeout`. May fail before
  /// it returns.
  void Open(const ServerAddress& server, std::chrono::milliseconds timeout);

  /// The next line without its line end, valid until the next call; none when the server has yet to send it
  /// or the dialogue has failed.
  [[nodiscard]] std::optional<std::string_view> NextLine();
  /// Sends `text`, which brings its line ends. That it could not be sent shows when the next line is awaited.
  void Send(std::string_view text);
  /// Begins TLS on a connection that began without it. What the server sent too early is no part of the
  /// protected dialogue: it makes the dialogue fail (when `GoOn` comes).
  /// Without `verifies` whoever answers is the server.
  void Secure(bool verifies);
  /// The open dialogue goes on with others, and with its limits as at its begin.
  void HandOver(EventOwner& owner, Client& client);

  /// Whether the dialogue is open and the server has said nothing that is yet to be read.
  [[nodiscard]] bool IsQuiet();
  /// A server that is gone is noticed within a minute, even while nothing is sent.
  void KeepAlive();

  /// Why the dialogue cannot go on, for the user; empty while it can.
  [[nodiscard]] const std::string& Failure() const { return m_failure; }
  /// What is going on while no lines can be exchanged ("connecting"), else empty.
  [[nodiscard]] std::string_view Step() const;
  /// The lookup of the name has yet to begin, since there are too many.
  [[nodiscard]] bool IsQueued() const { return m_query && m_query->IsQueued(); }
  /// Nothing waits to be sent.
  [[nodiscard]] bool HasSentAll() const { return m_out.empty(); }
  [[nodiscard]] bool IsSecured() const { return m_ssl != nullptr; }
  /// The address at this end, without its port; empty if there is no connection.
  [[nodiscard]] std::string LocalAddress() const;

 private:
  /// Connecting goes on until the greeting.
  enum class State { LookingUp, Connecting, Securing, Open };

  void Ready(int fd, std::uint32_t events) override;
  EventOwner& Owner() override { return *m_owner; }
  void Resolved(const Resolver::Answer& answer);
  void TryNextAddress(std::string whyNot);
  [[nodiscard]] int BeginConnecting(const std::string& address);
  void ShareTime();
  void EndAttempt();
  [[nodiscard]] bool IsConnected() const;
  void FinishConnecting();
  void BeginTls(bool verifies);
  void Handshake();
  void BecomeOpen();
  void CallClient();
  void Fail(std::string why);

  [[nodiscard]] std::optional<std::string_view> ExtractLine();
  [[nodiscard]] bool Receive();
  [[nodiscard]] std::string ReceiveFailure(int result) const;
  [[nodiscard]] bool WouldBlock(int result) const;
  void Flush();
  void WatchFor(std::uint32_t events);
  void Close() noexcept;

  ProbeContext& m_context;
  EventOwner* m_owner;
  Client* m_client;
  ServerAddress m_server;
  std::chrono::milliseconds m_timeout{};
  Moment m_deadline;                 // of the last address, which the client looks after
  State m_state = State::LookingUp;  // when it failed, where
  std::string m_failure;
  std::unique_ptr<Resolver::Query> m_query;
  std::vector<std::string> m_addresses;  // those not tried yet, the next one last
  EventLoop::Timer m_attemptEnds;
  platform::FileDescriptor m_socket;
  std::uint32_t m_watchedFor = 0;
  SslConnection m_ssl;
  std::string m_in;
  std::size_t m_consumed = 0;  // how much of m_in the client has had
  std::size_t m_received = 0;  // in all
  int m_receipts = 0;          // since the loop called
  bool m_isDry = false;        // nothing is received until the loop calls
  std::string m_out;
};

}  // namespace norvane::engine
