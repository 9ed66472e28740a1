#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>

#include "loopback/Certificates.h"
#include "platform/EventFd.h"
#include "platform/FileDescriptor.h"

namespace norvane::loopback {

/// What a server says at one point of its dialogue, and how.
struct Saying {
  enum class End {
    Stay,     ///< waits for what the client says next
    Silence,  ///< keeps the connection and ignores everything
    Close,
    Reset,
    Tls,  ///< goes on in TLS
  };
  std::string bytes;
  End end = End::Stay;
  std::string forEver{};               ///< after the bytes, again and again
  std::chrono::milliseconds delay{0};  ///< before the first byte
  std::chrono::milliseconds pace{0};   ///< unless 0: one byte, or one `forEver`, each time this has passed
  std::size_t piece = 0;               ///< bytes of a write at most, in TLS of a record; 0: as many as go
};

/// Messages of TLS 1.2 in one record: each asks for a handshake, and so means nothing while one is under way.
[[nodiscard]] inline std::string HelloRequests() {
  return std::string("\x16\x03\x03\x0f\xa0", 5) + std::string(4000, '\0');
}

/// The begin of a handshake message of 16 KiB, in records of one byte, and a further byte of it.
[[nodiscard]] inline std::pair<std::string, std::string> HandshakeCrumbs() {
  const auto crumb = [](char byte) { return std::string("\x16\x03\x03\0\x01", 5) + byte; };
  return {crumb('\x02') + crumb('\0') + crumb('\x40') + crumb('\0'), crumb('\0')};
}

/// A server on a loopback port of its own, in a thread of its own: connections, TLS, and the pace of what is
/// said.
class LoopbackServer {
 public:
  struct Options {
    std::optional<Identity> tls{};       ///< what a saying that ends in TLS goes on with
    bool isTlsFromStart = false;         ///< TLS at once
    std::chrono::milliseconds pace{0};   ///< of every saying that has none
    std::chrono::milliseconds delay{0};  ///< likewise
    bool isOnAllAddresses = false;       ///< 127.0.0.1 alone otherwise; for networks without any other device
    std::function<void(int fd)> accepted{};     ///< called with each connection as soon as it is there
    std::function<void(SSL_CTX*)> changeTls{};  ///< makes TLS unlike what sane servers have
  };
  /// Answers one client: removes a complete line from what was received; nothing while there is none. The
  /// first call is the greeting.
  using Dialogue = std::function<std::optional<Saying>(std::string& received, bool isSecured)>;

  /// `begin` makes the dialogue of a new client; both are called in the server's thread.
  LoopbackServer(const Options& options, std::function<Dialogue()> begin);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  [[nodiscard]] int Port() const { return m_port; }

 private:
  class Connection;

  void Run();
  void Accept();
  void Go(int fd);
  void Watch(int fd, std::uint32_t events) const;

  const std::function<Dialogue()> m_begin;
  const Options m_options;
  const TlsContext m_tls;
  int m_port = 0;  // set when the listener is bound
  platform::FileDescriptor m_listener;
  platform::FileDescriptor m_epoll;
  platform::EventFd m_stop;
  std::unordered_map<int, std::unique_ptr<Connection>> m_connections;
  std::set<int> m_timed;  // connections that wait for time to pass rather than for the client
  std::thread m_thread;
};

}  // namespace norvane::loopback
