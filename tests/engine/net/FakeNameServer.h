#pragma once

#include <map>
#include <string>
#include <vector>

#include "engine/net/EventLoop.h"
#include "platform/FileDescriptor.h"

namespace norvane::tests {

/// A name server on a loopback port, UDP only, in the loop of the test (RFC 1035, RFC 3596).
class FakeNameServer : private engine::Watcher {
 public:
  enum class Reply {
    Answer,
    LateAnswer,  ///< from the third question for an IPv4 address on
    Silence,
    Failure
  };
  struct Entry {
    std::string address;  ///< of IPv4; the next one too with `hasTwo`
    int timeToLive = 60;  ///< seconds
    bool isLong = false;  ///< too long for UDP
    bool isSilent = false;
    bool hasTwo = false;
    std::string address6{};
    Reply ipv4 = Reply::Answer, ipv6 = Reply::Answer;  ///< to questions for such addresses
  };
  /// Names that are not in `entries` do not exist.
  FakeNameServer(engine::EventLoop& loop, std::map<std::string, Entry> entries);
  ~FakeNameServer() override;

  /// As Resolver::Options takes it.
  [[nodiscard]] std::string Address() const { return "127.0.0.1:" + std::to_string(m_port); }
  /// The names that were asked for an IPv4 address, in order.
  [[nodiscard]] const std::vector<std::string>& Asked() const { return m_asked; }
  void FallSilent() { m_isSilent = true; }
  void Speak() { m_isSilent = false; }
  /// The next questions are not answered.
  void Lose(int questions) { m_toLose = questions; }
  void Refuse() { m_refuses = true; }
  /// From now on there is TCP too, which is refused before.
  void ListenByTcp();

 private:
  void Ready(int fd, std::uint32_t events) override;
  engine::EventOwner& Owner() override { return m_loop; }
  /// Empty: none.
  [[nodiscard]] std::string Answer(const std::string& question, bool isTcp);
  [[nodiscard]] bool AnswerByUdp();
  void AnswerByTcp();

  engine::EventLoop& m_loop;
  std::map<std::string, Entry> m_entries;
  platform::FileDescriptor m_socket;
  platform::FileDescriptor m_listener;
  platform::FileDescriptor m_connection;  // the latest
  int m_port = 0;
  std::vector<std::string> m_asked;
  int m_toLose = 0;
  bool m_isSilent = false;
  bool m_refuses = false;
};

}  // namespace norvane::tests
