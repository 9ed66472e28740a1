#include "engine/notify/Notifier.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "console/engine/Limits.h"
#include "loopback/HttpServer.h"
#include "loopback/MailServers.h"
#include "loopback/TempFolder.h"
#include "tests/engine/ProbeFixture.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using loopback::HttpServer;
using std::chrono::milliseconds;
using std::chrono::minutes;
using tests::Rows;

/// A notifier in a loop whose time the test can push forward.
class NotifierTest : public testing::Test {
 protected:
  void Notify(const std::string& mode, const std::string& to = "+49 555") {
    m_notifier.Notify({3, mode, to, m_message, "The body"}, ++m_lastTicket);
  }
  void RunUntil(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i)
      m_loop.RunOnce(milliseconds(10));
    ASSERT_TRUE(condition());
  }
  /// Step by step, since the loop takes a jump for a stop of its own.
  void Pass(milliseconds time) {
    constexpr milliseconds Step{4};
    for (const auto end = m_ahead + time; m_ahead < end; m_ahead += Step)
      m_loop.RunOnce(milliseconds(0));
  }
  std::string Outcome(const std::string& mode, const std::string& to = "+49 555") {
    m_reports.clear();
    Notify(mode, to);
    RunUntil([&] { return !m_reports.empty(); });
    if (m_reports.empty()) return "no report";
    const auto& report = m_reports.front();
    EXPECT_EQ(report.id, 3u);
    EXPECT_EQ(report.ticket, m_lastTicket);
    EXPECT_EQ(report.result.IsGood(), report.result.reason == "Ok");
    return report.result.reason;
  }

  const loopback::TempFolder m_folder;
  milliseconds m_ahead{0};
  EventLoop m_loop{[this] { return std::chrono::steady_clock::now() + m_ahead; }};
  tests::ProbeFixture m_probes{m_loop};
  std::string m_message =
      "Gr\xc3\xbc\xc3\x9f"
      "e & %s";
  std::vector<NotificationEnded> m_reports;
  std::uint64_t m_lastTicket = 0;
  Notifier m_notifier{m_probes.context, m_folder.Path(),
                      [this](NotificationEnded report) { m_reports.push_back(std::move(report)); }};
};

TEST_F(NotifierTest, CallsThroughTheInternet) {
  HttpServer server;
  const loopback::RefusingPort refusing;
  const std::string fields = "[Call]cmd=11&mode=2&msg=";
  const std::string filled = "/scripts/sms.dll?" + fields + "Gr%C3%BC%C3%9Fe%20%26%20%25s&num=%2B49%20555";
  server.Set("/scripts/sms.dll", HttpServer::Reply("sent"));
  server.Set("/202", HttpServer::Reply("", "text/html", "202 Accepted"));
  server.Set("/304", {"HTTP/1.1 304 Not Modified\r\n\r\n"});
  server.Set("/500", HttpServer::Reply("", "text/html", "500 Sorry"));
  server.Set("/401", HttpServer::Reply("", "text/html", "401 Who"));
  using Blame = SendFailure::Blame;
  const Rows<std::string, std::string, Blame> rows = {
      {server.Url("/scripts/sms.dll?") + fields + "%s&num=%s", "Ok", Blame::Server},
      {server.Url("/202?%s%s"), "Ok", Blame::Server},
      {server.Url("/304?%s%s"), "HTTP status 304", Blame::Server},
      {server.Url("/500?%s%s"), "HTTP status 500", Blame::Server},
      {server.Url("/401?%s%s"), "HTTP status 401", Blame::Server},
      {server.Url("/none?%s%s"), "HTTP status 404", Blame::Recipient},
      {"http://127.0.0.1:" + std::to_string(refusing.Port()) + "/%s%s", "connection refused", Blame::Server},
      {"http://%s%s/", "invalid URL", Blame::Server},
  };
  for (const auto& [mode, outcome, blame] : rows) {
    EXPECT_EQ(Outcome(mode), outcome) << mode;
    EXPECT_EQ(m_reports.at(0).failure.blame, blame) << mode;
    EXPECT_FALSE(m_reports[0].failure.mayHaveArrived) << mode;
  }
  EXPECT_TRUE(server.Requests().at(0).starts_with("GET " + filled + " HTTP/1.1\r\n")) << server.Requests()[0];
}

TEST_F(NotifierTest, PostsToExits) {
  HttpServer server;
  const auto reply = [&](const std::string& status, const std::string& more = "") {
    server.Set("/" + status, {"HTTP/1.1 " + status + " x\r\n" + more + "Content-Length: 0\r\n\r\n"});
    return server.Url("/" + status);
  };
  server.Set("/", HttpServer::Reply("", "text/html"));
  const auto header = tests::WriteFile(m_folder / "header", "\nX-Token:  one two \r\nX-Other: 3");
  const auto broken = tests::WriteFile(m_folder / "broken", "X-A: 1\nsecret\n");
  const auto open = tests::WriteFile(m_folder / "open", "X-A: secret\n");
  for (const auto& file : {header, broken})
    std::filesystem::permissions(file, std::filesystem::perms::owner_read);
  std::filesystem::permissions(open, std::filesystem::perms::owner_read | std::filesystem::perms::group_read);
  const struct {
    std::string url, headerFile, reason;
    int retryAfter = 0;
    SendFailure::Blame blame = SendFailure::Blame::Server;
  } rows[] = {
      {reply("204"), header, "Ok"},
      {reply("200"), broken, "header_file " + broken + ": line 2 is not \"Name: value\""},
      {server.Url("/200"), open, "header_file " + open + ": others than its owner have access"},
      {server.Url("/200"), m_folder / "none",
       "header_file " + (m_folder / "none") + ": No such file or directory"},
      {reply("302", "Location: /200\r\n"), "", "HTTP status 302"},
      {reply("400"), "", "HTTP status 400", 0, SendFailure::Blame::Message},
      {reply("403"), "", "HTTP status 403"},
      {reply("429", "Retry-After: 90\r\n"), "", "HTTP status 429", 90},
      {reply("503", "Retry-After: Fri, 31 Dec 1999 23:59:59 GMT\r\n"), "", "HTTP status 503"},
      {reply("500", "Retry-After: soon\r\n"), "", "HTTP status 500"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reason);
    m_reports.clear();
    NotifyRequest request;
    request.body = "{}";
    request.identity = "me-b1";
    request.url = row.url;
    request.headerFile = row.headerFile;
    m_notifier.Notify(request, ++m_lastTicket);
    RunUntil([&] { return !m_reports.empty(); });
    EXPECT_EQ(m_reports.at(0).result.reason, row.reason);
    EXPECT_EQ(m_reports.at(0).retryAfter.count(), row.retryAfter);
    EXPECT_EQ(m_reports.at(0).failure.blame, row.blame);
  }
  const auto requests = server.Requests();
  EXPECT_EQ(requests.size(), 7u);
  const auto& first = requests.at(0);
  EXPECT_TRUE(first.starts_with("POST /204 HTTP/1.1\r\n") && first.ends_with("\r\n\r\n{}")) << first;
  for (const char* line :
       {"X-Token:  one two", "X-Other: 3", "Idempotency-Key: me-b1", "Content-Type: application/json"})
    EXPECT_NE(first.find(std::string("\r\n") + line + "\r\n"), std::string::npos) << first;
}

TEST_F(NotifierTest, MailsThroughTheServerOfTheMode) {
  loopback::SmtpServer server;
  const auto mode = "sMtP://LOCALHOST:" + std::to_string(server.Port()) + ";norvane@console.test";
  EXPECT_EQ(Outcome(mode + " ", " you@office.test "), "Ok");
  ASSERT_EQ(server.Mails().size(), 1u);
  const auto mail = server.Mails()[0];
  EXPECT_EQ(mail.from, "<norvane@console.test>");
  EXPECT_EQ(mail.to, "<you@office.test>");
  EXPECT_NE(mail.text.find("\r\nSubject: =?UTF-8?B?R3LDvMOfZSAmICVz?=\r\n"), std::string::npos) << mail.text;
  EXPECT_NE(mail.text.find("\r\n\r\nThe body\r\n"), std::string::npos) << mail.text;
}

TEST_F(NotifierTest, TellsWhatItCannotSend) {
  const Rows<const char*, const char*> rows = {
      {"", "no notification configured"},
      {"TEL://", "no modem configured"},
      {"FAX://", "unknown notification mode"},
      {"http://127.0.0.1/?msg=%s", "unknown notification mode"},
  };
  for (const auto& [mode, outcome] : rows)
    EXPECT_EQ(Outcome(mode), outcome) << mode;
}

TEST_F(NotifierTest, RefusesACallThatIsTooLong) {
  m_message.assign(console::engine::MaxValueSize, ' ');
  EXPECT_EQ(Outcome("http://127.0.0.1/%s%s"), "the message is too long");
}

TEST_F(NotifierTest, ADeadPeerEndsInTimeAndHoldsOnlyItsOwnQueue) {
  HttpServer silent({.onConnect = HttpServer::Script{"", "", {}, HttpServer::End::Silence}});
  for (int i = 0; i < 129; ++i)
    Notify(silent.Url("/%s%s"));
  EXPECT_EQ(Outcome("TEL://"), "no modem configured");
  m_reports.clear();
  const auto ended = std::chrono::system_clock::now();
  Pass(milliseconds(20000));
  RunUntil([&] { return m_reports.size() == 128; });
  for (const auto& report : m_reports) {
    EXPECT_TRUE(report.result.reason.starts_with("no answer within 20 s (")) << report.result.reason;
    EXPECT_TRUE(report.failure.mayHaveArrived);
    EXPECT_GE(report.result.at, ended) << "a log would tell it before the outage went on";
  }
  Pass(milliseconds(20000));
  RunUntil([&] { return m_reports.size() == 129; });
}

TEST_F(NotifierTest, GivesAMailServerTimeForEachStep) {
  loopback::SmtpServer server;
  const auto mode = "SMTP://" + server.Address() + ";me@a.test";
  for (const auto& [point, command, limit] :
       {std::tuple{"RCPT", "RCPT", minutes(5)}, {".", "DATA", minutes(10)}}) {
    SCOPED_TRACE(point);
    m_reports.clear();
    server.Set(point, {"", loopback::MailAnswer::End::Silence});
    Notify(mode, "you@b.test");
    RunUntil([&, verb = std::string(command)] {
      const auto commands = server.Commands();
      return !commands.empty() && commands.back().starts_with(verb);
    });
    Pass(limit - minutes(1));
    EXPECT_TRUE(m_reports.empty()) << m_reports[0].result.reason;
    Pass(minutes(1));
    RunUntil([&] { return !m_reports.empty(); });
    EXPECT_EQ(m_reports.at(0).failure.mayHaveArrived, limit == minutes(10)) << m_reports[0].result.reason;
    server.Set("RCPT", {"250 fine\r\n"});
  }
}

TEST_F(NotifierTest, RefusesWhatIsTooMuch) {
  for (std::size_t i = 0; i <= Notifier::MaxWaiting; ++i)
    Notify("TEL://");
  ASSERT_EQ(m_reports.size(), 1u);
  EXPECT_EQ(m_reports[0].result.reason, "notification queue full");
  RunUntil([&] { return m_reports.size() == Notifier::MaxWaiting + 1; });
}

}  // namespace
}  // namespace norvane::engine
