#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/net/EventLoop.h"

struct ares_channeldata;
struct ares_addrinfo;

namespace norvane::engine {

class NameChannel;

struct NameAnswer {
  std::vector<std::string> addresses;  ///< numeric, the preferred first: "127.0.0.1", "::1"
  std::string failure;                 ///< why there is none; for the user
};

/// What came of a question to the name servers.
struct NameResult {
  enum class Outcome {
    Found,
    Empty,  ///< an answer without addresses, which may have been cut
    Unknown,
    TimedOut
  };
  enum class Source {
    Server,
    None,   ///< no server has answered
    Nobody  ///< no server was asked
  };
  Outcome outcome{};
  Source source{};  ///< of the answer
  NameAnswer answer{};
  std::chrono::seconds keep{};  ///< how long that holds
};

struct NameQuestion : NameResult {
  NameChannel* channel = nullptr;  ///< the latest that it was asked of
};

/// Questions to the name servers by c-ares, with its sockets in the loop.
class NameChannel : private Watcher {
 public:
  enum class Transport {
    Udp,  ///< alone: a server whose TCP fails would make all its lookups fail
    Tcp
  };
  struct Options {
    /// "127.0.0.1:5353,[::1]:53" instead of those that the machine names; empty for the machine's.
    std::string servers;
    std::string serversFile;               ///< in which the machine names them
    std::chrono::milliseconds tryTimeout;  ///< of the first try; later ones wait longer
    int tries;
  };
  /// Called within `Ask` or an event; must not call the channel and throws nothing.
  using Answered = std::function<void(NameQuestion&)>;

  /// Throws std::exception if it cannot be set up.
  NameChannel(EventLoop& loop, const Options& options, Transport transport, Answered answered);
  /// Forgets the questions under way.
  ~NameChannel() override;

  /// Asks for the addresses of `host`, of one family or AF_UNSPEC. `question` lives until it is answered, or
  /// the channel is gone.
  void Ask(NameQuestion& question, const std::string& host, int family, Moment now) noexcept;

 private:
  struct Free {
    void operator()(ares_channeldata* channel) const noexcept;
  };

  static void SocketState(void* self, int fd, int readable, int writable) noexcept;
  static void OnAnswer(void* question, int status, int, ares_addrinfo* info) noexcept;
  void Ready(int fd, std::uint32_t events) override;
  EventOwner& Owner() override { return m_loop; }
  void Process(int readable, int writable);

  EventLoop& m_loop;
  Transport m_transport;
  Answered m_answered;
  std::size_t m_underWay = 0;
  bool m_isAsking = false;
  EventLoop::Timer m_tick;
  std::unique_ptr<ares_channeldata, Free> m_channel;  // last, since its end calls back
};

}  // namespace norvane::engine
