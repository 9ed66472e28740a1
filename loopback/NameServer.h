#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "platform/EventFd.h"
#include "platform/FileDescriptor.h"

namespace norvane::loopback {

/// A question to a name server (RFC 1035).
struct DnsQuestion {
  std::string name;  ///< "1.good.test"
  bool wantsIPv4 = false;
  std::string id;       ///< two bytes
  std::string section;  ///< as it is repeated in answers

  /// None for what is no question.
  [[nodiscard]] static std::optional<DnsQuestion> Parse(std::string_view message);
  /// The answer to it: so many records of answers, which follow.
  [[nodiscard]] std::string Header(int answers, bool isTruncated = false) const;
  /// "127.0.1.2" for a few seconds; without an address "no such data".
  [[nodiscard]] std::string Reply(const std::string& address) const;
};

/// A name server on 127.0.0.1, UDP only, in a thread of its own: TCP is refused.
class NameServer {
 public:
  /// The message that answers; empty: none does. Called in the server's thread.
  using Answer = std::function<std::string(const DnsQuestion&)>;

  /// Port 0: one of its own.
  NameServer(int port, Answer answer);
  ~NameServer();
  NameServer(const NameServer&) = delete;
  NameServer& operator=(const NameServer&) = delete;

  [[nodiscard]] int Port() const { return m_port; }

 private:
  void Run();
  void AnswerOne();

  Answer m_answer;
  int m_port = 0;
  platform::FileDescriptor m_socket;
  platform::EventFd m_stop;
  std::thread m_thread;
};

}  // namespace norvane::loopback
