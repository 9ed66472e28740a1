#include "engine/web/PageFetcher.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <thread>

#include "engine/WorkerThreads.h"
#include "loopback/Certificates.h"
#include "loopback/HttpServer.h"
#include "loopback/TempFolder.h"
#include "platform/EventFd.h"

namespace norvane::engine {
namespace {

using console::engine::PageReply;
using loopback::HttpServer;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// A worker that fetches one page at a time.
class Fetcher {
 public:
  explicit Fetcher(const WorkerOptions& options = {}) : m_worker(options, m_event) {}

  void Begin(const std::string& url, milliseconds limit = seconds(30)) {
    m_worker.Fetch({url, limit}, ++m_ticket);
  }
  void Stop() { m_worker.StopFetch(m_ticket); }
  /// "content type | body", headed by a status other than 200, or why there is none.
  std::string Reply() {
    pollfd fd{m_event.Fd(), POLLIN, 0};
    if (::poll(&fd, 1, 30000) != 1) return "no report";
    m_event.Clear();
    auto reports = m_worker.DequeueReports();
    const auto& ended = std::get<FetchEnded>(reports.at(0));
    EXPECT_EQ(reports.size(), 1u);
    EXPECT_EQ(ended.ticket, m_ticket);
    if (ended.reply.end == PageReply::End::Complete)
      return (ended.reply.status == 200 ? "" : std::to_string(ended.reply.status) + ' ') +
             ended.reply.contentType + " | " + ended.reply.body;
    return (ended.reply.end == PageReply::End::TimedOut ? "timed out: " : "failed: ") + ended.reply.reason;
  }
  std::string Fetch(const std::string& url, milliseconds limit = seconds(30)) {
    Begin(url, limit);
    return Reply();
  }

 private:
  platform::EventFd m_event;
  WorkerThreads m_worker;
  std::uint64_t m_ticket = 0;
};

TEST(PageFetcher, FetchesByTheRulesOfAWebCheck) {
  HttpServer server;
  const loopback::CertificateAuthority authority;
  HttpServer secure({.tls = authority.Issue("127.0.0.1")});
  secure.Set("/", HttpServer::Reply("secret"));
  server.Set("/page", HttpServer::Reply("abc", "text/html; charset=gbk"));
  server.Set("/a%20b", HttpServer::Reply("blank"));
  server.Set("/moved", HttpServer::Redirect("/page"));
  server.Set("/folded", {"HTTP/1.1 200 OK\r\n Folded: 1\r\nContent-Type: a/b\r\nContent-Length: 1\r\n\r\nc"});
  server.Set("/to-folded", HttpServer::Redirect("/folded"));
  server.Set("/gone", HttpServer::Reply("<b>gone</b>", "text/html", "404 Not Found"));
  server.Set("/empty", HttpServer::Reply(""));
  server.Set("/large", HttpServer::Reply(std::string((16 << 20) + 1, 'x')));
  server.Set("/broken", {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"});
  server.Set("/silent", {"", "", {}, HttpServer::End::Silence});
  const std::pair<std::string, const char*> rows[] = {
      {" " + server.Url("/page"), "text/html; charset=gbk | abc"},
      {server.Url("/a b"), "text/html | blank"},
      {server.Url("/moved"), "text/html; charset=gbk | abc"},
      {server.Url("/gone"), "404 text/html | <b>gone</b>"},
      {server.Url("/empty"), "text/html | "},
      {server.Url("/large"), "failed: page larger than 16 MiB"},
      {server.Url("/broken"), "failed: connection closed before the end of the page"},
      {server.Url("/page").substr(7), "failed: invalid URL"},
      {"ftp://127.0.0.1/", "failed: not an http or https URL"},
      {secure.Url("/"), "text/html | secret"},
  };
  WorkerOptions options;
  const loopback::TempFolder folder;
  options.maxPageBytes = 0;  // of the checks
  options.caFile = authority.WriteTo(folder / "ca.pem");
  Fetcher fetcher(options);
  for (const auto& [url, reply] : rows)
    EXPECT_EQ(fetcher.Fetch(url), reply) << url;
  EXPECT_EQ(fetcher.Fetch(server.Url("/to-folded")),
            fetcher.Fetch(server.Url("/folded")));  // not the redirect's
  EXPECT_EQ(fetcher.Fetch(server.Url("/silent"), milliseconds(100)),
            "timed out: no answer within 0.1 s (waiting for the reply)");
  EXPECT_EQ(Fetcher().Fetch(secure.Url("/")).substr(0, 46), "failed: certificate of 127.0.0.1 not trusted: ");
}

TEST(PageFetcher, AStoppedFetchGivesWhatCame) {
  HttpServer server;
  server.Set("/part",
             {"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\nabc", "", {}, HttpServer::End::Silence});
  Fetcher fetcher;
  fetcher.Stop();  // nothing runs yet
  const auto end = std::chrono::steady_clock::now() + seconds(30);
  for (std::string reply; reply != "text/plain | abc";) {  // what was sent may still be on its way
    ASSERT_LT(std::chrono::steady_clock::now(), end) << reply;
    const auto before = server.Requests().size();
    fetcher.Begin(server.Url("/part"));
    while (server.Requests().size() == before)
      std::this_thread::yield();
    fetcher.Stop();
    reply = fetcher.Reply();
  }
}

}  // namespace
}  // namespace norvane::engine
