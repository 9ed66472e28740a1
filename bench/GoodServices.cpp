#include "bench/GoodServices.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <string>
#include <thread>
#include <unordered_map>

#include "console/engine/MonitorKeys.h"
#include "loopback/MailServers.h"
#include "loopback/NameServer.h"
#include "loopback/Sockets.h"

namespace norvane::bench {

namespace ce = console::engine;
namespace keys = console::engine::keys;
using loopback::LoopbackServer;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr const char* Domain = ".good.test";
constexpr const char* Account = "shop";
constexpr const char* Password = "secret";
constexpr const char* Wanted = "Welcome to our shop";

enum Service { Web, Secure, Pop3, Smtp, Names, Pacer };  // the last connects to the web server
constexpr std::array<int, 4> Shares{120, 20, 40, 20};
/// How often each speaks in a check.
constexpr std::array<int, 4> Sayings{1, 1, 6, 7};

std::uint32_t NumberOf(int service, int index) {
  return static_cast<std::uint32_t>(service << 8 | index);
}

/// The part of the address, or of the name, that tells the monitor.
std::string Label(int service, int index, char separator) {
  return std::to_string(service) + separator + std::to_string(index);
}

/// Which of its addresses the client has connected to.
std::uint32_t NumberOf(int connection) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ::getsockname(connection, reinterpret_cast<sockaddr*>(&address), &size);
  return ntohl(address.sin_addr.s_addr) & 0xffff;
}

std::shared_ptr<void> StartWeb(const LoopbackServer::Options& options, int& port) {
  auto server = std::make_shared<LoopbackServer>(options, [] {
    return [](std::string& received, bool) -> std::optional<loopback::Saying> {
      if (received.find("\r\n\r\n") == std::string::npos) return std::nullopt;
      received.clear();
      const std::string page(Wanted);
      return loopback::Saying{
          "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(page.size()) + "\r\n\r\n" + page,
          loopback::Saying::End::Close};
    };
  });
  port = server->Port();
  return server;
}

std::shared_ptr<void> StartPop3(const LoopbackServer::Options& options, int& port) {
  auto server = std::make_shared<loopback::Pop3Server>(loopback::Pop3Server::Pop3Options{options});
  server->SetAccount(Account, {Password, 1});
  port = server->Port();
  return server;
}

std::shared_ptr<void> StartSmtp(const LoopbackServer::Options& options, int& port) {
  auto server = std::make_shared<loopback::SmtpServer>(loopback::SmtpServer::SmtpOptions{options});
  port = server->Port();
  return server;
}

/// "1-2.good.test" is 127.0.1.2, "x.cut.test" does not fit into an answer by UDP, "x.lie.test" is answered by
/// nonsense, and nothing is said of any other.
std::string AnswerName(const loopback::DnsQuestion& question) {
  const auto isIn = [&](const std::string& domain) { return question.name.ends_with(domain); };
  auto label = question.name.substr(0, question.name.find('.'));
  std::replace(label.begin(), label.end(), '-', '.');
  if (isIn(Domain)) return question.Reply("127.0." + label);
  if (isIn(".cut.test")) return question.Header(0, true);
  if (!isIn(".lie.test")) return {};
  switch (label.back() % 4) {
    case 0:  // a record that claims to be longer than the message
      return question.Header(1) + std::string("\xc0\x0c\0\1\0\1\0\0\0\5\xff\xff\1", 13);
    case 1:  // a name that points at itself
      return question.Header(255) + std::string("\xc0", 1) + static_cast<char>(12 + question.section.size());
    case 2:
      return question.Reply("127.0.0.1").substr(0, 20);
    default:  // a long chain of aliases, each of itself
      auto answer = question.Header(255);
      for (int i = 0; i < 30; ++i)
        answer += std::string("\xc0\x0c\0\5\0\1\0\0\0\5\0\2\xc0\x0c", 14);
      return answer;
  }
}

/// CPU time of an engine for a check of these, on the whole.
constexpr std::chrono::microseconds CheckCost{300};

void UseProcessor(std::chrono::nanoseconds time) {
  const auto used = [] {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
  };
  for (const auto end = used() + time; used() < end;) {
  }
}

/// Connects on time, works as long as a check takes, and waits for nothing.
void ConnectInPace(int port, milliseconds interval) {
  const auto pause = std::chrono::nanoseconds(interval) / GoodServices::Count;
  std::array<platform::FileDescriptor, GoodServices::Count> sockets;
  auto next = steady_clock::now();
  for (std::size_t i = 0;; i = (i + 1) % sockets.size()) {
    std::this_thread::sleep_until(next += pause);
    UseProcessor(CheckCost);
    auto address = loopback::Address(port);
    address.sin_addr.s_addr =
        htonl((INADDR_LOOPBACK & 0xffff0000) | NumberOf(Pacer, static_cast<int>(i) + 1));
    sockets[i] = loopback::NewSocket();
    static_cast<void>(
        ::connect(sockets[i].Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }
}

}  // namespace

GoodServices::GoodServices(const loopback::CertificateAuthority& authority, const GoodTimes& times,
                           const std::function<void()>& prepareBare)
    : m_times(times) {
  const auto certificate = authority.Issue("*" + std::string(Domain));
  using Start = std::shared_ptr<void> (*)(const LoopbackServer::Options&, int&);
  constexpr std::array<Start, 4> starts{&StartWeb, &StartWeb, &StartPop3, &StartSmtp};
  for (std::size_t service = 0; service < starts.size(); ++service) {
    m_servers.Add([&, service](int& port) {
      LoopbackServer::Options options;
      if (service == Secure) options.tls = certificate;
      options.isTlsFromStart = service == Secure;
      options.delay = times.slow / Sayings[service];
      options.isOnAllAddresses = true;
      options.accepted = [&arrivals = m_arrivals[service]](int fd) { arrivals.Note(NumberOf(fd)); };
      return starts[service](options, port);
    });
  }
  m_servers.Add([](int& port) {
    auto server = std::make_shared<loopback::NameServer>(53, &AnswerName);
    port = server->Port();
    return server;
  });
  m_bare = std::make_unique<ChildProcess>([&, port = m_servers.At(Web).Port()] {
    prepareBare();
    ConnectInPace(port, times.interval);
  });
}

std::vector<engine::datafile::Row> GoodServices::Monitors() const {
  constexpr std::array<std::string_view, 4> types{ce::TypeWeb, ce::TypeWeb, ce::TypePop3, ce::TypeSmtp};
  constexpr std::array<const char*, 4> before{"http://", "https://", "", ""};
  std::vector<engine::datafile::Row> rows;
  // By turns, since the engine spreads them in this order.
  for (int index = 1; index <= *std::max_element(Shares.begin(), Shares.end()); ++index)
    for (std::size_t service = 0; service < Shares.size(); ++service) {
      if (index > Shares[service]) continue;
      auto attributes = engine::NewMonitorAttributes();
      attributes.Set(keys::Parameter, before[service] + Label(static_cast<int>(service), index, '-') +
                                          Domain + ":" + std::to_string(m_servers.At(service).Port()));
      if (types[service] == ce::TypeWeb) attributes.Set(keys::SuccessFlag, std::string("STR:") + Wanted);
      attributes.Set(keys::PopAccount, Account);
      attributes.Set(keys::PopPass, Password);
      attributes.Set(keys::From, "norvane@example.com");
      attributes.Set(keys::To, "operator@example.com");
      attributes.Set(keys::Interval, std::to_string(1e-3 * static_cast<double>(m_times.interval.count())));
      attributes.Set(keys::Timeout, std::to_string(m_times.timeout.count()));
      attributes.Set(keys::LogFile, "good.log");
      attributes.Set(keys::Status, std::string(ce::StatusEnable));
      const auto number = static_cast<std::uint32_t>(rows.size() + 1);
      rows.push_back({number, std::string(types[service]) + " Of good " + std::to_string(number),
                      std::make_shared<const engine::Attributes>(std::move(attributes))});
    }
  return rows;
}

Starts GoodServices::ChecksSince(steady_clock::time_point from) const {
  Starts all;
  for (std::size_t service = 0; service < Shares.size(); ++service) {
    const auto starts = StartsOf(static_cast<int>(service), Shares[service], from);
    all.late += starts.late;
    all.longest = std::max(all.longest, starts.longest);
  }
  return all;
}

Starts GoodServices::BareSince(steady_clock::time_point from) const {
  return StartsOf(Pacer, Count, from);
}

Starts GoodServices::StartsOf(int service, int count, steady_clock::time_point from) const {
  const auto& arrivals = m_arrivals[static_cast<std::size_t>(service == Pacer ? int{Web} : service)];
  std::unordered_map<std::uint32_t, steady_clock::time_point> last;
  for (int index = 1; index <= count; ++index)
    last[NumberOf(service, index)] = from;
  Starts starts;
  const auto note = [&](steady_clock::time_point& before, steady_clock::time_point at) {
    const auto late = std::chrono::duration_cast<milliseconds>(at - before) - m_times.interval;
    starts.late += late > MostLate;
    starts.longest = std::max(starts.longest, late);
    before = at;
  };
  for (const auto& entry : arrivals.All()) {
    const steady_clock::time_point at(std::chrono::nanoseconds{entry.at});
    const auto monitor = last.find(entry.monitor);
    if (monitor == last.end() || at < from) continue;
    note(monitor->second, at);
  }
  const auto now = steady_clock::now();
  for (auto& [number, at] : last)
    note(at, now);
  return starts;
}

}  // namespace norvane::bench
