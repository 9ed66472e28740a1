#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "console/engine/EngineError.h"
#include "link/EngineClient.h"
#include "tests/link/RunningEngine.h"

namespace norvane::tests {
namespace {

namespace ce = console::engine;
using link::EngineClient;
using std::chrono::milliseconds;
using std::chrono::seconds;

class FetchTest : public LinkTest {
 protected:
  FetchTest() {
    Start();
    client.emplace(m_options);
  }
  void Report(std::size_t fetch, const ce::PageReply& reply) {
    m_engine->Do([&](engine::Service&, FakeWorker& checks) {
      checks.Report(engine::FetchEnded{checks.fetches.at(fetch), reply});
    });
  }
  /// Those of all that the client has asked for so far.
  std::vector<std::string> WorkerCalls() {
    static_cast<void>(client->ServiceValue("LogFile"));  // is answered after them
    std::vector<std::string> calls;
    m_engine->Do([&](engine::Service&, FakeWorker& checks) { calls = checks.calls; });
    return calls;
  }

  std::optional<EngineClient> client;
};

TEST_F(FetchTest, APageComesThroughTheEngine) {
  using End = ce::PageReply::End;
  const auto refused = client->Fetch("http://a/", seconds(1))->Reply();
  EXPECT_EQ(refused.end, End::Failed);
  EXPECT_EQ(
      refused.reason,
      "the control gate of this connection is closed, so nothing can be changed; start the program again");
  ce::OpenGate(*client);
  const ce::PageReply replies[] = {
      {End::Complete, "", std::string("a\0\xff", 3), "text/html; charset=gbk", 404},
      {End::TimedOut, "no answer", "", ""},
      {End::Failed, "connection refused", "", ""}};
  std::vector<std::unique_ptr<ce::PageFetch>> fetches;
  for (std::size_t i = 0; i < std::size(replies); ++i)
    fetches.push_back(client->Fetch("http://a/ b", i == 0 ? seconds(10) : seconds(3600)));
  EXPECT_FALSE(fetches[0]->HasEnded());
  EXPECT_EQ(client->Count(), 0u) << "other calls go on meanwhile";
  EXPECT_EQ(WorkerCalls(), (std::vector<std::string>{"Fetch http://a/ b 10000", "Fetch http://a/ b 60000",
                                                     "Fetch http://a/ b 60000"}));
  for (std::size_t i = 0; i < std::size(replies); ++i) {
    Report(i, replies[i]);
    EXPECT_TRUE(Eventually([&] { return fetches[i]->HasEnded(); }));
    const auto reply = fetches[i]->Reply();
    EXPECT_EQ(reply.end, replies[i].end);
    EXPECT_EQ(reply.reason, replies[i].reason);
    EXPECT_EQ(reply.body, replies[i].body);
    EXPECT_EQ(reply.contentType, replies[i].contentType);
    EXPECT_EQ(reply.status, replies[i].status);
  }
}

TEST_F(FetchTest, AStoppedFetchEndsWithThePartReceived) {
  ce::OpenGate(*client);
  const auto fetch = client->Fetch("http://a/", seconds(60));
  fetch->Stop();
  EXPECT_EQ(fetch->Reply().body, "what came");
  fetch->Stop();
}

TEST_F(FetchTest, AnAbandonedFetchIsStopped) {
  const auto stops = [&] { return std::ranges::count(WorkerCalls(), "StopFetch"); };
  ce::OpenGate(*client);
  static_cast<void>(client->Fetch("http://a/", seconds(60)));
  EXPECT_EQ(stops(), 1);
}

TEST_F(FetchTest, AConsoleFetchesAFewPagesAtATime) {
  ce::OpenGate(*client);
  std::vector<std::unique_ptr<ce::PageFetch>> fetches;
  for (int i = 0; i < 4; ++i)
    fetches.push_back(client->Fetch("http://a/", seconds(60)));
  EXPECT_EQ(client->Fetch("http://a/", seconds(60))->Reply().reason, "too many pages are being fetched");
  fetches[0]->Stop();
  static_cast<void>(fetches[0]->Reply());
  EXPECT_TRUE(Eventually([&] {  // the engine has to see that the reply was read
    const auto next = client->Fetch("http://a/", seconds(60));
    next->Stop();
    return next->Reply().body == "what came";
  }));
}

TEST_F(FetchTest, AllConsolesTogetherFetchEightPagesAtATime) {
  EngineClient second(m_options);
  EngineClient third(m_options);
  for (auto* each : {&*client, &second, &third})
    ce::OpenGate(*each);
  std::vector<std::unique_ptr<ce::PageFetch>> fetches;
  for (int i = 0; i < 8; ++i)
    fetches.push_back((i < 4 ? *client : second).Fetch("http://a/", seconds(60)));
  EXPECT_TRUE(Eventually([&] { return std::ranges::count(WorkerCalls(), "Fetch http://a/ 60000") == 8; }));
  EXPECT_EQ(third.Fetch("http://a/", seconds(60))->Reply().reason, "too many pages are being fetched");
}

TEST_F(FetchTest, WithoutAnEngineEveryFetchFails) {
  ce::OpenGate(*client);
  const auto fetch = client->Fetch("http://a/", seconds(60));
  m_engine.reset();
  EXPECT_EQ(fetch->Reply().end, ce::PageReply::End::Failed);
  const auto next = client->Fetch("http://a/", seconds(60));
  EXPECT_TRUE(next->HasEnded());
  EXPECT_EQ(next->Reply().reason, "the engine is gone or was restarted");
}

}  // namespace
}  // namespace norvane::tests
