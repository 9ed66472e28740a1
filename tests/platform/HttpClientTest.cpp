#include "platform/HttpClient.h"

#include <gtest/gtest.h>

#include <thread>

#include "loopback/HttpServer.h"

namespace norvane::tests {
namespace {

using namespace loopback;

using namespace std::chrono_literals;
using platform::HttpClient;
using platform::HttpFailure;
using platform::HttpReply;
using platform::HttpResult;
using Script = HttpServer::Script;

constexpr auto Ample = 30s;
constexpr auto Short = 200ms;

HttpResult Fetch(const std::string& url, std::chrono::milliseconds limit = Ample) {
  HttpClient client;
  client.Fetch(url, limit);
  return client.TakeResult();
}

/// "content type | body", or what went wrong.
std::string Told(const HttpResult& result) {
  if (const auto* reply = std::get_if<HttpReply>(&result)) return reply->contentType + " | " + reply->body;
  return std::get<HttpFailure>(result).kind == HttpFailure::Kind::TimedOut ? "timed out" : "failed";
}

std::string BodyOf(std::size_t size) {
  return std::string(size, 'x');
}

TEST(HttpClient, GivesWhatTheServerSends) {
  HttpServer server;
  for (int hop = 0; hop < 6; ++hop)
    server.Set("/hop" + std::to_string(hop), HttpServer::Redirect("/hop" + std::to_string(hop + 1)));
  server.Set("/hop6", HttpServer::Reply("arrived"));
  const struct {
    std::string name;
    Script script;
    std::string told;
  } rows[] = {
      {"page", HttpServer::Reply("abc", "text/html; charset=gbk"), "text/html; charset=gbk | abc"},
      {"error page", HttpServer::Reply("gone", "text/plain", "404 Not Found"), "text/plain | gone"},
      {"empty body", HttpServer::Reply(""), "text/html | "},
      {"no content type", {"HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx"}, " | x"},
      {"until the end", {"HTTP/1.0 200 OK\r\n\r\nall of it"}, " | all of it"},
      {"last redirect allowed", HttpServer::Redirect("/hop2"), "text/html | arrived"},
      {"one redirect too many", HttpServer::Redirect("/hop1"), "failed"},
      {"redirect to another scheme", HttpServer::Redirect("ftp://127.0.0.1/"), "failed"},
      {"no reply", {""}, "failed"},
      {"reset", {"HTTP/1.1 200 OK\r\n", "", 0ms, HttpServer::End::Reset}, "failed"},
      {"broken off", {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"}, "failed"},
      {"not HTTP", {"hello\r\n"}, "failed"},
      {"too large, announced", {"HTTP/1.1 200 OK\r\nContent-Length: 16777217\r\n\r\n"}, "failed"},
      {"too large, endless", {"HTTP/1.1 200 OK\r\n\r\n", BodyOf(1 << 20)}, "failed"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    server.Set("/page", row.script);
    EXPECT_EQ(Told(Fetch(server.Url("/page"))), row.told);
  }
}

TEST(HttpClient, FailsWhereNothingCanBeFetched) {
  const RefusingPort refusing;
  const HttpServer endlessTls({.onConnect = Script{"", HelloRequests()}});
  const std::pair<const char*, std::string> urls[] = {
      {"refused", "http://127.0.0.1:" + std::to_string(refusing.Port())},
      {"endless TLS", "https" + endlessTls.Url("/").substr(4)},
      {"no host", "http://"},
      {"blank", " http://127.0.0.1/"},
      {"bad port", "http://127.0.0.1:port/"},
      {"file", "file:///etc/hostname"},
      {"empty", ""},
  };
  for (const auto& [name, url] : urls) {
    SCOPED_TRACE(name);
    const auto result = Fetch(url);
    ASSERT_TRUE(std::holds_alternative<HttpFailure>(result));
    EXPECT_EQ(std::get<HttpFailure>(result).kind, HttpFailure::Kind::Other);
    EXPECT_NE(std::get<HttpFailure>(result).reason, "");
  }
}

TEST(HttpClient, GivesUpAtTheLimitWhereverTheReplyIs) {
  HttpServer server;
  server.Set("/silent", {"", "", 0ms, HttpServer::End::Silence});
  server.Set("/slow", {"HTTP/1.1 200 OK\r\n\r\n", "x", 1ms});
  const StalledPort stalled;
  for (const auto& url :
       {server.Url("/silent"), server.Url("/slow"), "http://127.0.0.1:" + std::to_string(stalled.Port())})
    EXPECT_EQ(Told(Fetch(url, Short)), "timed out") << url;
}

TEST(HttpClient, EndsAtOnceWhenCancelledOrDestroyed) {
  HttpServer server;
  server.Set("/silent", {"", "", 0ms, HttpServer::End::Silence});
  const auto start = std::chrono::steady_clock::now();
  {
    HttpClient client;
    client.Cancel();  // nothing runs yet
    client.Fetch(server.Url("/silent"), Ample);
    while (server.Requests().empty())
      std::this_thread::yield();
    EXPECT_TRUE(client.StillExecuting());
    client.Cancel();
    client.Cancel();
    EXPECT_FALSE(client.StillExecuting());
    EXPECT_EQ(Told(client.TakeResult()), " | ");
    client.Fetch(server.Url("/silent"), Ample);
    client.Fetch(server.Url("/silent"), Ample);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, Ample / 2);
}

}  // namespace
}  // namespace norvane::tests
