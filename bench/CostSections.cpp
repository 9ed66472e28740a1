#include "bench/CostSections.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "bench/BareMailLoop.h"
#include "bench/BareWebLoop.h"
#include "bench/CheckerRun.h"
#include "console/engine/MonitorKeys.h"

namespace norvane::bench {

namespace keys = console::engine::keys;

namespace {

constexpr int Rounds = 5;
constexpr int SlowPerSecond = 200;
constexpr int SlowSeconds = 2;
constexpr double MostToBare = 1.3;
constexpr double MostMicrosecondsSecure = 1000;
/// At few checks a second fewer of them share each waking of the machine.
constexpr double SlowFactor = 2;

engine::Attributes WebMonitor(const std::string& url, const std::string& wanted) {
  auto attributes = engine::NewMonitorAttributes();
  attributes.Set(keys::Parameter, url);
  attributes.Set(keys::SuccessFlag, "STR:" + wanted);
  return attributes;
}

engine::Attributes Pop3Monitor(int port) {
  auto attributes = engine::NewMonitorAttributes();
  attributes.Set(keys::Parameter, "127.0.0.1:" + std::to_string(port));
  attributes.Set(keys::PopAccount, Account);
  attributes.Set(keys::PopPass, Password);
  return attributes;
}

engine::Attributes SmtpMonitor(int port) {
  auto attributes = engine::NewMonitorAttributes();
  attributes.Set(keys::Parameter, "127.0.0.1:" + std::to_string(port));
  attributes.Set(keys::From, "norvane@example.com");
  attributes.Set(keys::To, "operator@example.com");
  return attributes;
}

MailDialogue Pop3Dialogue(int port) {
  return {port,
          "+",
          {"CAPA\r\n", "USER " + std::string(Account) + "\r\n", "PASS " + std::string(Password) + "\r\n",
           "STAT\r\n", "QUIT\r\n"}};
}

/// With a text as long as that of a check's mail.
MailDialogue SmtpDialogue(int port) {
  constexpr std::size_t TextSize = 700;
  return {
      port,
      "23",
      {"EHLO [127.0.0.1]\r\n", "MAIL FROM:<norvane@example.com>\r\n", "RCPT TO:<operator@example.com>\r\n",
       "DATA\r\n", "Subject: check\r\n\r\n" + std::string(TextSize, 'x') + "\r\n.\r\n", "QUIT\r\n"}};
}

/// The checker at full speed and at a low one, beside the bare loop that it is measured by.
struct Comparison {
  std::string name;
  int checks = 0;  // at full speed
  std::function<int(int checks, int perSecond)> bare;
  std::unique_ptr<CheckerRun> checker;
  std::optional<double> mostMicroseconds{};  // at full speed, where the bare loop is not the measure
};

void Report(FigureTable& table, const Comparison& comparison) {
  constexpr int SlowChecks = SlowPerSecond * SlowSeconds;
  std::vector<CostRow> rows{
      {"bare loop", comparison.checks, [&] { return comparison.bare(comparison.checks, 0); }},
      {"checker", comparison.checks, [&] { return comparison.checker->OnDemand(comparison.checks); }},
      {"bare loop, 200 a second", SlowChecks, [&] { return comparison.bare(SlowChecks, SlowPerSecond); }},
      {"checker, 200 a second", SlowChecks,
       [&] { return comparison.checker->Scheduled(SlowPerSecond, SlowSeconds); }},
  };
  MeasureInTurns(rows, Rounds);
  const double limit = comparison.mostMicroseconds.value_or(MostToBare * rows[0].best.Each());
  const std::optional<double> limits[] = {{}, limit, {}, SlowFactor * limit};
  for (std::size_t i = 0; i < rows.size(); ++i)
    table.Add(comparison.name + ": " + rows[i].name, rows[i].best.Each(), "us", limits[i]);
  table.Add(comparison.name + ": checker to bare loop", rows[1].best.Each() / rows[0].best.Each(), "");
}

}  // namespace

void CostOfChecks(FigureTable& table, const CheckedServers& servers) {
  table.Section("CPU per check in one loop, the best of 5");
  BareWebLoop web(servers.url, servers.wanted);
  BareWebLoop secureWeb(servers.secureUrl, servers.wanted, servers.caFile);
  BareMailLoop pop3(Pop3Dialogue(servers.pop3));
  BareMailLoop smtp(SmtpDialogue(servers.smtp));
  engine::WorkerOptions plain;
  plain.threads = 1;  // as the bare loop; the next section compares
  auto secure = plain;
  secure.caFile = servers.caFile;
  const auto run = [](auto& loop) {
    return [&loop](int checks, int perSecond) { return loop.Run(checks, perSecond); };
  };
  const auto runOf = [](const char* name, const engine::Attributes& attributes,
                        const engine::WorkerOptions& options) {
    return std::make_unique<CheckerRun>(name, attributes, options);
  };
  Report(table, {"web, 4 KB page", 20000, run(web),
                 runOf("WebMonitor Of bench", WebMonitor(servers.url, servers.wanted), plain)});
  Report(table,
         {"POP3 logon", 5000, run(pop3), runOf("Pop3Monitor Of bench", Pop3Monitor(servers.pop3), plain)});
  Report(table,
         {"SMTP mail", 5000, run(smtp), runOf("SmtpMonitor Of bench", SmtpMonitor(servers.smtp), plain)});
  Report(table, {"HTTPS, verified", 2000, run(secureWeb),
                 runOf("WebMonitor Of bench", WebMonitor(servers.secureUrl, servers.wanted), secure),
                 MostMicrosecondsSecure});
}

void CostOfLoops(FigureTable& table, const CheckedServers& servers) {
  constexpr double MostDearer = 1.1;
  constexpr double LeastMore = 1.7;
  table.Section("one loop and two, the best of 5");
  const std::tuple<const char*, std::string, int> pages[] = {{"web, 4 KB page", servers.url, 20000},
                                                             {"HTTPS, verified", servers.secureUrl, 2000}};
  for (const auto& [name, url, checks] : pages) {
    std::vector<std::unique_ptr<CheckerRun>> checkers;
    std::vector<CostRow> rows;
    for (const std::size_t loops : {1, 2}) {
      engine::WorkerOptions options;
      options.threads = loops;
      options.caFile = servers.caFile;
      checkers.push_back(
          std::make_unique<CheckerRun>("WebMonitor Of bench", WebMonitor(url, servers.wanted), options));
      rows.push_back({name + (": " + std::to_string(loops) + (loops == 1 ? " loop" : " loops")), checks,
                      [&checker = *checkers.back(), count = checks] { return checker.OnDemand(count); }});
    }
    MeasureInTurns(rows, Rounds);
    for (const auto& row : rows) {
      table.Add(row.name, row.best.Each(), "us");
      table.Add(row.name + ", at most", row.best.Possible(), "a second");
    }
    table.Add(std::string(name) + ": dearer with two", rows[1].best.Each() / rows[0].best.Each(), "",
              MostDearer);
    table.Add(std::string(name) + ": time of a check with two",
              rows[0].best.Possible() / rows[1].best.Possible(), "", 1 / LeastMore);
  }
}

void LateQuits(FigureTable& table, const CheckedServers& servers) {
  constexpr int AtOnce = 64;
  constexpr double QuitMilliseconds = 200;
  table.Section("64 mail checks at once, QUIT answered after 200 ms");
  platform::EventFd event;
  engine::WorkerThreads checker({}, event);
  const auto pop3 = std::make_shared<const engine::Attributes>(Pop3Monitor(servers.slowPop3));
  const auto smtp = std::make_shared<const engine::Attributes>(SmtpMonitor(servers.slowSmtp));
  std::vector<double> times;
  int bad = 0;
  const auto wall = Milliseconds([&] {
    for (std::uint64_t i = 1; i <= AtOnce; ++i)
      checker.CheckOnce(i % 2 == 0 ? engine::CheckTarget{i, "Pop3Monitor Of late", pop3}
                                   : engine::CheckTarget{i, "SmtpMonitor Of late", smtp},
                        i);
    while (times.size() < AtOnce)
      for (const auto& report : AwaitReports(checker, event)) {
        bad += !report.result.IsGood();
        times.push_back(static_cast<double>(report.result.duration.count()));
      }
  });
  table.Add("checks that were not good", bad, "", 0);
  table.Add("the slowest check", Quantile(times, 1), "ms", QuitMilliseconds);
  table.Add("all of them", wall, "ms", QuitMilliseconds);
}

}  // namespace norvane::bench
