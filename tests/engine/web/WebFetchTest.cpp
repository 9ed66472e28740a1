#include "engine/web/WebFetch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <new>
#include <optional>

#include "engine/web/HeldPage.h"
#include "loopback/HttpServer.h"
#include "tests/engine/ProbeFixture.h"

namespace norvane::engine {
namespace {

using loopback::HttpServer;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::size_t Quota = 4 << 20;

/// A loop with all that a fetch of a large page needs.
class WebFetchTest : public ::testing::Test, protected ProbeClient {
 protected:
  WebFetchTest() { m_server.Set("/", HttpServer::Reply(std::string(1 << 20, 'x'))); }

  void Begin(std::function<std::string(const Page&)> judge) {
    m_fetch = MakeWebFetch(m_transfers, m_probes.context,
                           {.url = m_server.Url("/"), .judge = std::move(judge)}, seconds(20), *this);
    m_fetch->Begin();
  }
  void RunUntil(const std::function<bool()>& isDone) {
    const auto end = m_loop.Now() + seconds(30);
    while (!isDone() && m_loop.Now() < end)
      m_loop.RunOnce(milliseconds(10));
    ASSERT_TRUE(isDone());
  }
  void Ended(std::string failure) noexcept override {
    m_failure = std::move(failure);
    m_fetch.reset();
  }
  void Arrived() override { m_hasArrived = true; }
  void Broke(const std::string& why) override { Ended(why); }

  HttpServer m_server;
  EventLoop m_loop;
  tests::ProbeFixture m_probes{m_loop, Quota};
  WebTransfers m_transfers{m_loop, m_probes.tls};
  std::unique_ptr<WebFetch> m_fetch;
  bool m_hasArrived = false;
  std::optional<std::string> m_failure;
};

TEST_F(WebFetchTest, ALargePageIsJudgedWhileTheLoopGoesOn) {
  std::promise<void> go;
  auto gone = go.get_future();
  Begin([&](const Page& page) {
    return gone.wait_for(seconds(30)) == std::future_status::ready ? std::to_string(page.body.size())
                                                                   : "waited";
  });
  RunUntil([&] { return m_hasArrived; });
  EXPECT_FALSE(m_failure);
  go.set_value();
  RunUntil([&] { return m_failure.has_value(); });
  EXPECT_EQ(m_failure, "1048576");
  EXPECT_EQ(m_probes.quota.Left(), Quota);
}

TEST_F(WebFetchTest, ConnectsAnewWhileTheClientHasTime) {
  std::atomic<int> connections = 0;
  loopback::LoopbackServer silent({.accepted = [&](int) { ++connections; }},
                                  [] { return [](std::string&, bool) { return std::nullopt; }; });
  const auto time = milliseconds(50) - seconds(1);  // libcurl has a second more for connecting
  m_fetch = MakeWebFetch(m_transfers, m_probes.context,
                         {.url = "https://127.0.0.1:" + std::to_string(silent.Port())}, time, *this);
  m_fetch->Begin();
  RunUntil([&] { return connections == 2; });
  EXPECT_FALSE(m_failure);
}

TEST_F(WebFetchTest, ALargePageMayOutliveItsFetch) {
  std::promise<void> go;
  Begin([gone = go.get_future().share()](const Page&) {
    gone.wait();
    return std::string();
  });
  RunUntil([&] { return m_hasArrived; });
  m_fetch.reset();
  go.set_value();
  RunUntil([&] { return m_probes.quota.Left() == Quota; });
  m_probes.pool.Stop();
  m_loop.RunOnce(milliseconds(0));
  EXPECT_FALSE(m_failure);
}

TEST_F(WebFetchTest, LackOfMemoryFailsTheOneFetch) {
  Begin([](const Page&) -> std::string { throw std::bad_alloc(); });
  RunUntil([&] { return m_failure.has_value(); });
  EXPECT_EQ(m_failure, NotEnoughMemory);
}

}  // namespace
}  // namespace norvane::engine
