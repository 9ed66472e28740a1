// CPU time of one web check (4 KB page, looked through for a string): the engine's checker, a bare libcurl
// loop over epoll with the same request, and wrk if it is installed, one after the other against one loopback
// server, whose process is not counted. Run: build/release/bench/web_check_bench [CHECKS]

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <regex>

#include "bench/BareWebLoop.h"
#include "bench/CheckerRun.h"
#include "bench/Measure.h"
#include "bench/ServerProcess.h"
#include "console/engine/MonitorKeys.h"
#include "loopback/HttpServer.h"

namespace {

using namespace norvane;
namespace keys = console::engine::keys;

const std::string Wanted = "Welcome to our shop";

std::shared_ptr<void> StartServer(int& port) {
  auto server = std::make_shared<loopback::HttpServer>();
  server->ForgetRequests();
  server->Set("/", loopback::HttpServer::Reply(std::string(4000, 'x') + Wanted));
  port = server->Port();
  return server;
}

engine::Attributes MonitorOf(const std::string& url) {
  auto attributes = engine::NewMonitorAttributes();
  attributes.Set(keys::Parameter, url);
  attributes.Set(keys::SuccessFlag, "STR:" + Wanted);
  return attributes;
}

/// Nothing if wrk is not installed.
bench::Cost Wrk(const std::string& url) {
  int output[2];
  if (::pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  const auto began = bench::Clock::now();
  const pid_t process = ::fork();
  if (process == 0) {
    ::dup2(output[1], STDOUT_FILENO);
    const auto connections = std::to_string(bench::InFlight);
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
  return {std::stoi(match[1]), bench::CpuSeconds(usage),
          std::chrono::duration<double>(bench::Clock::now() - began).count()};
}

void Print(const std::string& name, const bench::Cost& cost, const bench::Cost& bare) {
  std::printf("%-42s %10d %10.0f %12.1f %8.2f\n", name.c_str(), cost.checks, cost.checks / cost.wall,
              cost.Each(), cost.Each() / bare.Each());
}

}  // namespace

int main(int argc, char** argv) {
  const int checks = argc > 1 ? std::atoi(argv[1]) : 20000;
  const bench::ServerProcess server(StartServer);
  const auto url = "http://" + server.Address() + "/";
  curl_global_init(CURL_GLOBAL_DEFAULT);
  bench::BareWebLoop bare(url, Wanted);
  bench::CheckerRun checker("WebMonitor Of bench", MonitorOf(url));

  std::vector<bench::CostRow> rows{
      {"bare libcurl loop, 64 at a time", checks, [&] { return bare.Run(checks); }},
      {"checker, on demand", checks, [&] { return checker.OnDemand(checks); }},
      {"checker, 4,000 monitors every second", 16000, [&] { return checker.Scheduled(4000, 4); }},
      {"bare libcurl loop, 200 a second", 1000, [&] { return bare.Run(1000, 200); }},
      {"checker, 200 monitors every second", 1000, [&] { return checker.Scheduled(200, 5); }},
  };
  bench::MeasureInTurns(rows, 3);
  std::printf("%-42s %10s %10s %12s %8s\n", "best of 3", "checks", "a second", "CPU us each", "to bare");
  for (const auto& row : rows)
    Print(row.name, row.best, rows[0].best);
  if (const auto wrk = Wrk(url); wrk.checks > 0)
    Print("wrk, 64 connections, Connection: close", wrk, rows[0].best);
  else
    std::printf("wrk is not installed\n");
}
