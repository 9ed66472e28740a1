// Any bytes as what a peer says to a check: the worker, its probes and their sockets are real. Every check
// ends, with a text that is fit for a log.
//
// The first byte of an input is the kind of the peer, see `Kind`. The rest is what it says: before what
// follows 0xff it waits for the check to speak, 0xfe only begins another packet. What a name server says is a
// header without the id, and what comes behind the question; the part behind 0xff is what it says by TCP.

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "console/engine/MonitorKeys.h"
#include "engine/WorkerThreads.h"
#include "loopback/Certificates.h"
#include "loopback/NameServer.h"
#include "loopback/PrivateNetwork.h"
#include "loopback/Sockets.h"
#include "loopback/TempFolder.h"
#include "platform/Utf8.h"
#include "tests/fuzz/Fuzzer.h"

namespace {

using namespace norvane;
using platform::FileDescriptor;
using tests::Require;
namespace keys = console::engine::keys;

enum Kind : char { Web = 'w', SecureWeb = 'W', Pop3 = 'p', SecurePop3 = 'P', Smtp = 's', Names = 'n' };

constexpr char Wait = '\xff';
constexpr char Split = '\xfe';
constexpr std::chrono::milliseconds Patience{2};  // with a check that says nothing either
constexpr std::chrono::seconds MostForCheck{20};  // much more than its time-out
constexpr std::size_t HeaderSize = 10;            // without the id

/// What is left to be said, and to whom.
class Peer {
 public:
  explicit Peer(std::string_view script) : m_script(script) {}

  void Connect(FileDescriptor connection) { m_connection = std::move(connection); }
  [[nodiscard]] int Fd() const { return m_connection.Get(); }
  /// What to wait for the check at most, which may have its say.
  [[nodiscard]] int Milliseconds() const {
    return m_connection && !m_waits ? 0 : static_cast<int>(Patience.count());
  }
  void Receive() {
    std::array<char, 65536> buffer;
    if (::recv(Fd(), buffer.data(), buffer.size(), 0) == 0) m_connection.Reset();
  }
  /// Says the next part; hangs up at the end.
  void Speak() {
    const std::array<char, 2> ends{Wait, Split};
    const auto part = m_script.substr(0, m_script.find_first_of(ends.data(), 0, ends.size()));
    ::send(Fd(), part.data(), part.size(), MSG_NOSIGNAL);
    m_script.remove_prefix(part.size());
    if (m_script.empty()) return m_connection.Reset();
    m_waits = m_script.front() == Wait;
    m_script.remove_prefix(1);
  }

 private:
  std::string_view m_script;
  FileDescriptor m_connection;
  bool m_waits = false;
};

/// The worker and the sockets of its peers, one for all inputs.
class Bed {
 public:
  Bed()
      : m_listener(loopback::BoundSocket(m_port)), m_names(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    const auto address = loopback::Address(m_port);
    Require(::listen(m_listener.Get(), SOMAXCONN) == 0 &&
            ::bind(m_names.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
    engine::WorkerOptions options;
    options.folder = m_folder.Path();
    options.threads = 1;
    options.caFile = loopback::CertificateAuthority().WriteTo(m_folder / "ca.pem");
    options.resolver.nameServers = "127.0.0.1:" + std::to_string(m_port);
    options.resolver.tryTimeout = Patience;
    options.resolver.tries = 1;
    m_worker.emplace(options, m_reports);
  }

  /// Gives what is said of the check.
  std::string Check(Kind kind, std::string_view script) {
    const auto byUdp = script.substr(0, kind == Names ? script.find(Wait) : 0);
    const auto byTcp = script.substr(std::min(script.size(), byUdp.size() + (kind == Names ? 1 : 0)));
    Peer peer(kind == Names ? std::string_view() : script);
    m_worker->CheckOnce(Target(kind), ++m_ticket);
    const auto end = std::chrono::steady_clock::now() + MostForCheck;
    for (;;) {
      Require(std::chrono::steady_clock::now() < end);
      std::array<pollfd, 4> fds{{{m_reports.Fd(), POLLIN, 0},
                                 {m_names.Get(), POLLIN, 0},
                                 {m_listener.Get(), POLLIN, 0},
                                 {peer.Fd(), POLLIN, 0}}};
      const bool isIdle = ::poll(fds.data(), fds.size(), peer.Milliseconds()) == 0;
      if (fds[0].revents != 0)
        if (const auto ended = Ended()) return *ended;
      if (fds[1].revents != 0) AnswerByUdp(byUdp);
      if (fds[2].revents != 0) {
        FileDescriptor connection(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (kind == Names)
          AnswerByTcp(connection, byTcp);
        else
          peer.Connect(std::move(connection));
      } else if (fds[3].revents != 0) {
        peer.Receive();
      }
      if (peer.Fd() >= 0 && (fds[3].revents != 0 || isIdle)) peer.Speak();
    }
  }

 private:
  [[nodiscard]] engine::CheckTarget Target(Kind kind) const {
    const auto server = "127.0.0.1:" + std::to_string(m_port);
    auto attributes = engine::NewMonitorAttributes();
    attributes.Set(keys::SuccessFlag, "STR:good");
    attributes.Set(keys::PopAccount, "shop");
    attributes.Set(keys::PopPass, "secret");
    attributes.Set(keys::From, "a@example.com");
    attributes.Set(keys::To, "b@example.com");
    attributes.Set(keys::Timeout, "5");
    const auto target = [&](const char* type, const std::string& parameter) {
      attributes.Set(keys::Parameter, parameter);
      return engine::CheckTarget{1, std::string(type) + " Of peer",
                                 std::make_shared<const engine::Attributes>(attributes)};
    };
    switch (kind) {
      case Web:
        return target("WebMonitor", "http://" + server + "/");
      case SecureWeb:
        return target("WebMonitor", "https://" + server + "/");
      case Pop3:
        return target("Pop3Monitor", server);
      case SecurePop3:
        return target("Pop3Monitor", "pop3s://" + server);
      case Smtp:
        return target("SmtpMonitor", server);
      case Names:
        break;
    }
    return target("WebMonitor", "http://n" + std::to_string(m_ticket) + ".test/");  // not asked before
  }

  std::optional<std::string> Ended() {
    m_reports.Clear();
    for (const auto& report : m_worker->DequeueReports())
      return std::get<engine::CheckEnded>(report).result.reason;
    return std::nullopt;
  }

  /// The question's id and section with what the peer has to say around them.
  static std::string Answer(std::string_view question, std::string_view said) {
    const auto asked = loopback::DnsQuestion::Parse(question);
    Require(asked.has_value());
    auto header = std::string(said.substr(0, HeaderSize));
    header.resize(HeaderSize);
    return asked->id + header + asked->section + std::string(said.substr(std::min(said.size(), HeaderSize)));
  }
  void AnswerByUdp(std::string_view said) {
    std::array<char, 512> buffer;
    sockaddr_in peer{};
    auto* plain = reinterpret_cast<sockaddr*>(&peer);
    socklen_t size = sizeof peer;
    const auto got = ::recvfrom(m_names.Get(), buffer.data(), buffer.size(), 0, plain, &size);
    const auto answer = Answer({buffer.data(), static_cast<std::size_t>(got)}, said);
    ::sendto(m_names.Get(), answer.data(), answer.size(), 0, plain, size);
  }
  static void AnswerByTcp(const FileDescriptor& connection, std::string_view said) {
    constexpr std::size_t LengthSize = 2;
    std::array<char, 512> buffer;
    const auto got = ::recv(connection.Get(), buffer.data(), buffer.size(), 0);
    if (got < static_cast<ssize_t>(LengthSize + HeaderSize)) return;
    const auto answer = Answer({&buffer[LengthSize], static_cast<std::size_t>(got) - LengthSize}, said);
    const std::string length{static_cast<char>(answer.size() >> 8), static_cast<char>(answer.size())};
    const auto message = length + answer;
    ::send(connection.Get(), message.data(), message.size(), MSG_NOSIGNAL);
  }

  loopback::TempFolder m_folder;
  int m_port = 0;
  FileDescriptor m_listener, m_names;
  platform::EventFd m_reports;
  std::optional<engine::WorkerThreads> m_worker;
  std::uint64_t m_ticket = 0;
};

}  // namespace

/// A redirect, or the answer of a name server, must not lead out of this machine.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  loopback::EnterPrivateNetwork();
  return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Bed bed;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::array kinds{Web, SecureWeb, Pop3, SecurePop3, Smtp, Names};
  const auto kind = std::find(kinds.begin(), kinds.end(), input.substr(0, 1).empty() ? '\0' : input[0]);
  if (kind == kinds.end()) return -1;
  auto said = bed.Check(*kind, input.substr(1));
  Require(!said.empty() && said == platform::ValidUtf8(said));
  for (std::string_view left = said; !left.empty();) {
    const auto [code, length] = platform::FirstCharacter(left);
    Require(!platform::IsInvisible(code));
    left.remove_prefix(length);
  }
  return 0;
}
