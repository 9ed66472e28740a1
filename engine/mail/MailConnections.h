#pragma once

#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "engine/net/LineDialogue.h"

namespace norvane::engine {

/// Connections to mail servers that have accepted a mail, kept for a short while for the next one. In the
/// loop.
class MailConnections {
 public:
  static constexpr std::chrono::seconds MaxIdle{2};
  static constexpr std::size_t MaxOfServer = 2;
  static constexpr std::size_t Max = 16;

  struct Connection {
    std::string server;  ///< as the mails name it
    std::unique_ptr<LineDialogue> dialogue;
    std::string self;  ///< how we called ourselves
    bool offersUtf8 = false;
    std::size_t maxSize = 0;    ///< of a message; 0: not told
    std::size_t mailsLeft = 0;  ///< that may still be sent
  };

  explicit MailConnections(EventLoop& loop);
  /// Sends QUIT to all servers.
  ~MailConnections();
  MailConnections(const MailConnections&) = delete;
  MailConnections& operator=(const MailConnections&) = delete;

  /// Closes it when there are too many, or when the server has said something that nobody asked for.
  void Keep(Connection connection) noexcept;
  /// The newest one to `server`, which goes on with another client; none if there is none.
  [[nodiscard]] std::optional<Connection> Dequeue(const std::string& server);

 private:
  class Idle;
  using Idles = std::list<std::unique_ptr<Idle>>;

  EventLoop& m_loop;
  Idles m_idle;  // the newest one last
};

}  // namespace norvane::engine
