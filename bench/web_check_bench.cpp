// CPU time of one web check (4 KB page, looked through for a string): the engine's checker, a bare libcurl
// loop over epoll with the same request, and wrk if it is installed, one after the other against one loopback
// server, whose process is not counted. Run: build/release/bench/web_check_bench [CHECKS]

#include <curl/curl.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <regex>
#include <stdexcept>

#include "console/engine/MonitorKeys.h"
#include "engine/Checker.h"
#include "platform/FileDescriptor.h"
#include "tests/support/HttpServer.h"

namespace {

using namespace norvane;
using Clock = std::chrono::steady_clock;
namespace keys = console::engine::keys;

constexpr int InFlight = 64;
const std::string Wanted = "Welcome to our shop";

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

double CpuSeconds(const rusage& usage) {
  return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

double OwnCpuSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return CpuSeconds(usage);
}

struct Figure {
  int checks = 0;
  double cpu = 0;   // seconds
  double wall = 0;  // seconds

  [[nodiscard]] double Each() const { return 1e6 * cpu / checks; }  // microseconds of CPU
};

Figure Measure(const std::function<int()>& run) {
  const auto began = Clock::now();
  const auto cpu = OwnCpuSeconds();
  const int checks = run();
  return {checks, OwnCpuSeconds() - cpu, std::chrono::duration<double>(Clock::now() - began).count()};
}

/// The server in a process of its own, which ends with this one.
class ServerProcess {
 public:
  ServerProcess() {
    int toUs[2];
    int toServer[2];
    if (::pipe2(toUs, O_CLOEXEC) != 0 || ::pipe2(toServer, O_CLOEXEC) != 0)
      throw std::runtime_error("no pipe");
    m_process = ::fork();
    if (m_process == 0) {
      ::close(toServer[1]);
      Serve(toUs[1], toServer[0]);
    }
    ::close(toUs[1]);
    ::close(toServer[0]);
    const platform::FileDescriptor answer(toUs[0]);
    m_end.Reset(toServer[1]);
    int port = 0;
    if (::read(answer.Get(), &port, sizeof port) != sizeof port) throw std::runtime_error("no server");
    m_url = "http://127.0.0.1:" + std::to_string(port) + "/";
  }
  ~ServerProcess() {
    m_end.Reset();
    ::waitpid(m_process, nullptr, 0);
  }
  [[nodiscard]] const std::string& Url() const { return m_url; }

 private:
  [[noreturn]] static void Serve(int answer, int end) {
    tests::HttpServer server;
    server.ForgetRequests();
    server.Set("/", tests::HttpServer::Reply(std::string(4000, 'x') + Wanted));
    const int port = server.Port();
    char byte = 0;
    const bool isTold = ::write(answer, &port, sizeof port) == sizeof port;
    while (isTold && ::read(end, &byte, 1) > 0) {
    }
    ::_exit(0);
  }

  pid_t m_process = -1;
  platform::FileDescriptor m_end;
  std::string m_url;
};

/// The least that a program using libcurl for this can do.
class BareLoop {
 public:
  explicit BareLoop(std::string url)
      : m_url(std::move(url)), m_epoll(::epoll_create1(0)), m_multi(curl_multi_init()) {
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETFUNCTION, &BareLoop::SocketChanged);
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERFUNCTION, &BareLoop::TimerChanged);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERDATA, this);
    for (auto& transfer : m_transfers)
      Prepare(transfer);
  }
  ~BareLoop() {
    for (auto& transfer : m_transfers)
      curl_easy_cleanup(transfer.curl);
    curl_multi_cleanup(m_multi);
    curl_slist_free_all(m_headers);
  }

  /// As fast as it goes, or so many a second, begun in ticks of 10 ms.
  int Run(int checks, int perSecond = 0) {
    const auto began = Clock::now();
    const auto allowed = [&] {
      const std::chrono::duration<double> passed = Clock::now() - began;
      return perSecond == 0 ? checks : std::min(checks, 1 + static_cast<int>(passed.count() * perSecond));
    };
    int begun = 0;
    int good = 0;
    for (int ended = 0; ended < checks;) {
      for (; !m_idle.empty() && begun < allowed(); ++begun)
        Begin();
      Wait(perSecond == 0 ? 1000 : 10);
      int left = 0;
      while (const CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
        good += End(message->easy_handle, message->data.result);
        ++ended;
      }
    }
    return good;
  }

 private:
  struct Transfer {
    CURL* curl = nullptr;
    std::string body;
  };

  void Prepare(Transfer& transfer) {
    transfer.curl = curl_easy_init();
    curl_easy_setopt(transfer.curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(transfer.curl, CURLOPT_HTTPHEADER, m_headers);
    curl_easy_setopt(transfer.curl, CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(transfer.curl, CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(transfer.curl, CURLOPT_PRIVATE, &transfer);
    curl_easy_setopt(transfer.curl, CURLOPT_WRITEFUNCTION, &BareLoop::TakeBody);
    curl_easy_setopt(transfer.curl, CURLOPT_WRITEDATA, &transfer);
    m_idle.push_back(&transfer);
  }
  void Begin() {
    auto& transfer = *m_idle.back();
    m_idle.pop_back();
    transfer.body.clear();
    curl_easy_setopt(transfer.curl, CURLOPT_URL, m_url.c_str());
    curl_easy_setopt(transfer.curl, CURLOPT_TIMEOUT_MS, 30000L);
    curl_multi_add_handle(m_multi, transfer.curl);
  }
  bool End(CURL* curl, CURLcode code) {
    Transfer* transfer = nullptr;
    curl_easy_getinfo(curl, CURLINFO_PRIVATE, &transfer);
    curl_multi_remove_handle(m_multi, curl);
    m_idle.push_back(transfer);
    return code == CURLE_OK && transfer->body.find(Wanted) != std::string::npos;
  }
  void Wait(int longest) {
    std::array<epoll_event, 256> events;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_due - Clock::now()).count();
    const auto wait = static_cast<int>(std::clamp<std::int64_t>(left, 0, longest));
    const int count = ::epoll_wait(m_epoll.Get(), events.data(), events.size(), wait);
    int running = 0;
    for (int i = 0; i < count; ++i) {
      const auto& event = events[static_cast<std::size_t>(i)];
      const int what = ((event.events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
                       ((event.events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0) |
                       ((event.events & (EPOLLERR | EPOLLHUP)) != 0 ? CURL_CSELECT_ERR : 0);
      curl_multi_socket_action(m_multi, event.data.fd, what, &running);
    }
    if (Clock::now() < m_due) return;
    m_due = Clock::time_point::max();
    curl_multi_socket_action(m_multi, CURL_SOCKET_TIMEOUT, 0, &running);
  }

  static int SocketChanged(CURL*, curl_socket_t fd, int what, void* self, void*) {
    const int epoll = static_cast<BareLoop*>(self)->m_epoll.Get();
    epoll_event event{};
    event.events =
        ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0u) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0u);
    event.data.fd = fd;
    if (what == CURL_POLL_REMOVE)
      ::epoll_ctl(epoll, EPOLL_CTL_DEL, fd, nullptr);
    else if (::epoll_ctl(epoll, EPOLL_CTL_MOD, fd, &event) != 0)
      ::epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
    return 0;
  }
  static int TimerChanged(CURLM*, long milliseconds, void* self) {
    static_cast<BareLoop*>(self)->m_due =
        milliseconds < 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(milliseconds);
    return 0;
  }
  static std::size_t TakeBody(char* bytes, std::size_t, std::size_t size, void* transfer) {
    static_cast<Transfer*>(transfer)->body.append(bytes, size);
    return size;
  }

  std::string m_url;
  platform::FileDescriptor m_epoll;
  CURLM* m_multi;
  curl_slist* m_headers = curl_slist_append(nullptr, "Connection: close");
  std::array<Transfer, InFlight> m_transfers;
  std::vector<Transfer*> m_idle;
  Clock::time_point m_due = Clock::time_point::max();
};

/// The checker and whoever takes its reports; both are counted.
class CheckerRun {
 public:
  explicit CheckerRun(const std::string& url) : m_checker({}, m_event) {
    auto attributes = engine::NewMonitorAttributes();
    attributes.Set(keys::Parameter, url);
    attributes.Set(keys::SuccessFlag, "STR:" + Wanted);
    attributes.Set(keys::Interval, "1");
    m_attributes = std::make_shared<const engine::Attributes>(attributes);
  }
  /// So many at a time that the batches of reports don't hold them up.
  int OnDemand(int checks) {
    int begun = 0;
    int good = 0;
    const auto begin = [&] { m_checker.CheckOnce(Target(1), static_cast<std::uint64_t>(++begun)); };
    while (begun < std::min(checks, InFlight * 4))
      begin();
    for (int ended = 0; ended < checks;)
      for (const auto& report : Next()) {
        good += report.result.good;
        ++ended;
        if (begun < checks) begin();
      }
    return good;
  }
  /// So many a second, for some seconds.
  int Scheduled(int perSecond, int seconds) {
    for (int i = 0; i < perSecond; ++i)
      m_checker.Start(Target(static_cast<engine::MonitorId>(i)),
                      std::chrono::milliseconds(1000L * i / perSecond));
    int good = 0;
    for (int ended = 0; ended < perSecond * seconds;)
      for (const auto& report : Next()) {
        good += report.result.good;
        ++ended;
      }
    for (int i = 0; i < perSecond; ++i)
      m_checker.Stop(static_cast<engine::MonitorId>(i));
    return good;
  }

 private:
  [[nodiscard]] engine::CheckTarget Target(engine::MonitorId id) const {
    return {id, "WebMonitor Of bench", m_attributes};
  }
  std::vector<engine::CheckReport> Next() {
    pollfd fd{m_event.Fd(), POLLIN, 0};
    ::poll(&fd, 1, -1);
    m_event.Clear();
    return m_checker.TakeReports();
  }

  std::shared_ptr<const engine::Attributes> m_attributes;
  platform::EventFd m_event;
  engine::Checker m_checker;
};

/// Nothing if wrk is not installed.
Figure Wrk(const std::string& url) {
  int output[2];
  if (::pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  const auto began = Clock::now();
  const pid_t process = ::fork();
  if (process == 0) {
    ::dup2(output[1], STDOUT_FILENO);
    const auto connections = std::to_string(InFlight);
    ::execlp("wrk", "wrk", "-t1", "-c", connections.c_str(), "-d5", "-H", "Connection: close", url.c_str(),
             nullptr);
    ::_exit(127);
  }
  ::close(output[1]);
  const platform::FileDescriptor reader(output[0]);
  std::string text;
  std::array<char, 4096> buffer;
  for (ssize_t got = 0; (got = ::read(reader.Get(), buffer.data(), buffer.size())) > 0;)
    text.append(buffer.data(), static_cast<std::size_t>(got));
  rusage usage{};
  ::wait4(process, nullptr, 0, &usage);
  std::smatch match;
  if (!std::regex_search(text, match, std::regex("([0-9]+) requests in"))) return {};
  return {std::stoi(match[1]), CpuSeconds(usage),
          std::chrono::duration<double>(Clock::now() - began).count()};
}

}  // namespace

int main(int argc, char** argv) {
  const int checks = argc > 1 ? std::atoi(argv[1]) : 20000;
  const ServerProcess server;
  curl_global_init(CURL_GLOBAL_DEFAULT);
  BareLoop bare(server.Url());
  CheckerRun checker(server.Url());

  struct Row {
    const char* name;
    std::function<Figure()> run;
    Figure best{};
  };
  Row rows[] = {
      {"bare libcurl loop, 64 at a time", [&] { return Measure([&] { return bare.Run(checks); }); }},
      {"checker, on demand", [&] { return Measure([&] { return checker.OnDemand(checks); }); }},
      {"checker, 4,000 monitors every second",
       [&] { return Measure([&] { return checker.Scheduled(4000, 4); }); }},
      {"bare libcurl loop, 200 a second", [&] { return Measure([&] { return bare.Run(1000, 200); }); }},
      {"checker, 200 monitors every second",
       [&] { return Measure([&] { return checker.Scheduled(200, 5); }); }},
      {"wrk, 64 connections, Connection: close", [&] { return Wrk(server.Url()); }},
  };
  // In turns, the best of each: other work on the machine only ever adds.
  for (int round = 0; round < 3; ++round)
    for (auto& row : rows)
      if (const auto figure = row.run(); row.best.checks == 0 || figure.Each() < row.best.Each())
        row.best = figure;
  std::printf("%-42s %10s %10s %12s %8s\n", "best of 3", "good", "a second", "CPU us each", "to bare");
  for (const auto& [name, run, best] : rows) {
    if (best.checks == 0)
      std::printf("%-42s not installed\n", name);
    else
      std::printf("%-42s %10d %10.0f %12.1f %8.2f\n", name, best.checks, best.checks / best.wall, best.Each(),
                  best.Each() / rows[0].best.Each());
  }
}
