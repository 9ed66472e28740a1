// The engine under load: every figure that it is to keep, with its limit. The servers run in processes of
// their own on loopback ports, and their CPU time is not counted; but they need some, so that the figures
// hold on a machine with two cores and nothing else to do.
//
// Run: build/release/bench/engine_bench [full] [quarter] [cost] [loops] [quit] [hung] [growth]; without a
// name all of them, which takes about five minutes. "quarter" is the full load at a quarter of its pace, for
// machines on which a bare libcurl loop alone needs more than "full" allows. Ends with 1 if a limit was
// missed.

#include <curl/curl.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>

#include "bench/CostSections.h"
#include "bench/LoadSections.h"
#include "bench/ServerProcess.h"
#include "loopback/HttpServer.h"
#include "loopback/MailServers.h"
#include "loopback/TempFolder.h"

namespace norvane::bench {
namespace {

constexpr std::chrono::milliseconds LateQuit{200};
const std::string Wanted = "Welcome to our shop";
const std::string Page = std::string(4096 - Wanted.size(), 'x') + Wanted;

std::shared_ptr<void> StartSecure(const loopback::CertificateAuthority& authority, int& port) {
  loopback::HttpServer::Options options;
  options.tls = authority.Issue("127.0.0.1");
  auto server = std::make_shared<loopback::HttpServer>(options);
  server->ForgetRequests();
  server->Set("/", loopback::HttpServer::Reply(Page));
  port = server->Port();
  return server;
}

std::shared_ptr<void> StartPop3(int& port, std::chrono::milliseconds quit = {}) {
  auto server = std::make_shared<loopback::Pop3Server>();
  server->SetAccount(Account, {Password, 1});
  if (quit.count() > 0) server->Set("QUIT", {"+OK bye\r\n", loopback::MailAnswer::End::Close, {}, quit});
  port = server->Port();
  return server;
}

std::shared_ptr<void> StartSmtp(int& port, std::chrono::milliseconds quit = {}) {
  auto server = std::make_shared<loopback::SmtpServer>();
  if (quit.count() > 0) server->Set("QUIT", {"221 bye\r\n", loopback::MailAnswer::End::Close, {}, quit});
  port = server->Port();
  return server;
}

/// All servers; made before this process has a thread.
struct Servers {
  loopback::TempFolder folder;
  loopback::CertificateAuthority authority;
  std::string caFile = authority.WriteTo(folder / "ca.pem");
  Arrivals arrivals;
  ServerProcess page{[this](int& port) {
    auto server = std::make_shared<PageServer>(Page, arrivals);
    port = server->Port();
    return server;
  }};
  ServerProcess secure{[this](int& port) { return StartSecure(authority, port); }};
  ServerProcess pop3{[](int& port) { return StartPop3(port); }};
  ServerProcess smtp{[](int& port) { return StartSmtp(port); }};
  ServerProcess slowPop3{[](int& port) { return StartPop3(port, LateQuit); }};
  ServerProcess slowSmtp{[](int& port) { return StartSmtp(port, LateQuit); }};
};

int Main(const std::vector<std::string>& wishes) {
  Servers servers;
  curl_global_init(CURL_GLOBAL_DEFAULT);
  const auto url = "http://" + servers.page.Address() + "/";
  const LoadPage page{url, Wanted, servers.arrivals};
  const CheckedServers checked{url,
                               "https://" + servers.secure.Address() + "/",
                               Wanted,
                               servers.caFile,
                               servers.pop3.Port(),
                               servers.smtp.Port(),
                               servers.slowPop3.Port(),
                               servers.slowSmtp.Port()};
  FigureTable table;
  const std::pair<const char*, std::function<void()>> sections[] = {
      {"full", [&] { FullLoad(table, page, 2); }},     {"quarter", [&] { FullLoad(table, page, 8); }},
      {"cost", [&] { CostOfChecks(table, checked); }}, {"loops", [&] { CostOfLoops(table, checked); }},
      {"quit", [&] { LateQuits(table, checked); }},    {"hung", [&] { HungTargets(table, page); }},
      {"growth", [&] { Growth(table, page); }},
  };
  const auto isSection = [&](const std::string& wish) {
    return std::any_of(std::begin(sections), std::end(sections),
                       [&](const auto& section) { return wish == section.first; });
  };
  if (!std::all_of(wishes.begin(), wishes.end(), isSection))
    throw std::runtime_error("the sections are full, quarter, cost, loops, quit, hung and growth");
  for (const auto& [name, run] : sections)
    if (wishes.empty() || std::find(wishes.begin(), wishes.end(), name) != wishes.end()) run();
  std::printf("\n%d limits missed\n", table.Missed());
  return table.Missed() == 0 ? 0 : 1;
}

}  // namespace
}  // namespace norvane::bench

int main(int argc, char** argv) {
  try {
    return norvane::bench::Main({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "engine_bench: %s\n", error.what());
    return 2;
  }
}
