#include "engine/notify/AlertFeed.h"

#include <gtest/gtest.h>

#include <optional>

namespace norvane::engine {
namespace {

using std::chrono::seconds;

/// A feed whose outages, time and instances the test plays.
class AlertFeedTest : public testing::Test, private ActionRunner {
 protected:
  void Begin(const std::string& monitor, bool isHeld = false) {
    m_open[monitor] = {{}, "http://x/", "down", isHeld};
    m_feed.OutageBegins(monitor);
  }
  void End(const std::string& monitor) {
    const auto alert = m_open.extract(monitor).mapped();
    m_feed.OutageEnds("id of " + monitor, monitor, alert, std::chrono::system_clock::now());
  }
  /// Gives the number of alerts in each request, of all seconds.
  std::vector<std::size_t> Pass(seconds time) {
    std::vector<std::size_t> sizes;
    for (seconds i{0}; i < time; ++i) {
      m_now += seconds(1);
      m_feed.OnSecond();
      while (!m_inFlight.empty()) {
        const auto [request, ticket] = std::exchange(m_inFlight, {}).front();
        const bool isGood = !request.url.starts_with(m_away);
        std::size_t alerts = 0;
        for (auto at = request.body.find("startsAt"); at != std::string::npos;
             at = request.body.find("startsAt", at + 1))
          ++alerts;
        sizes.push_back(alerts);
        m_last = request.body;
        EXPECT_TRUE(m_feed.Receive({0, ticket, {isGood ? Outcome::Good : Outcome::Failed, "", {}}}));
      }
    }
    return sizes;
  }

  Moment m_now{std::chrono::hours(1)};
  std::map<std::string, AlertFeed::Alert> m_open;
  OwedMessages m_disk;
  std::string m_away = "nobody", m_last;
  std::vector<std::pair<NotifyRequest, std::uint64_t>> m_inFlight;
  AlertFeed m_feed{{"http://a"},
                   std::chrono::hours(1),
                   {*this, [this] { return ++m_lastTicket; },
                    [this] {
                      std::vector<std::string> names;
                      for (const auto& [name, alert] : m_open)
                        names.push_back(name);
                      return names;
                    },
                    [this](const auto& monitor) {
                      const auto found = m_open.find(monitor);
                      return found == m_open.end() ? std::nullopt : std::optional(found->second);
                    },
                    [this](const auto& identity, auto message) {
                      m_disk.erase(identity);
                      if (message) m_disk.emplace(identity, *message);
                    },
                    [](const auto&, const auto&) {}, [this] { return m_now; }}};

 private:
  void NotifyOnce(NotifyRequest request, std::uint64_t ticket) override {
    m_inFlight.emplace_back(std::move(request), ticket);
  }
  void Launch(LaunchRequest) override {}
  void HandBackLaunches() override {}

  std::uint64_t m_lastTicket = 0;
};

using Sizes = std::vector<std::size_t>;

TEST_F(AlertFeedTest, RepeatsAStormInAFewRequests) {
  for (int i = 0; i < 1200; ++i)
    Begin("WebMonitor Of " + std::to_string(i));
  const Sizes all{500, 500, 200};
  EXPECT_EQ(Pass(seconds(1)), all);
  EXPECT_EQ(Pass(seconds(29)), Sizes{});
  EXPECT_EQ(Pass(seconds(1)), all);
  End("WebMonitor Of 7");
  EXPECT_EQ(Pass(seconds(1)), Sizes{1});
  EXPECT_EQ(m_disk.size(), 0u);
}

TEST_F(AlertFeedTest, AnEndWaitsForAnInstanceThatIsAway) {
  Begin("a");
  Pass(seconds(1));
  m_away = "http://a";
  End("a");
  EXPECT_EQ(Pass(seconds(20)), (Sizes{1, 1, 1}));  // at once, after 5 and 10 seconds
  EXPECT_EQ(m_disk.size(), 1u);
  EXPECT_NE(m_feed.Problem(), "");
  m_away = "nobody";
  EXPECT_EQ(Pass(seconds(20)), Sizes{1});
  EXPECT_EQ(m_disk.size(), 0u);
  EXPECT_EQ(m_feed.Problem(), "");
}

TEST_F(AlertFeedTest, ANewOutageOvertakesTheEndOfTheFormerOne) {
  Begin("a");
  Pass(seconds(1));
  m_away = "http://a";
  End("a");
  Pass(seconds(2));
  Begin("a");
  EXPECT_EQ(m_disk.size(), 0u);
  m_away = "nobody";
  EXPECT_EQ(Pass(seconds(28)).front(), 1u);
  EXPECT_EQ(m_disk.size(), 0u);
}

TEST_F(AlertFeedTest, GoesOnWithTheInstancesThatAreNamedAgain) {
  Begin("a");
  Pass(seconds(1));
  m_away = "http://a";
  End("a");
  Pass(seconds(1));
  m_feed.Configure({"http://b", "http://a/"}, std::chrono::hours(1));
  EXPECT_EQ(m_disk.size(), 1u) << "owed to the same instance, though it is the second now";
  Begin("b");
  EXPECT_EQ(Pass(seconds(1)), Sizes{1}) << "to the new one, the other one waits";
  m_feed.Configure({"http://b"}, std::chrono::hours(1));
  EXPECT_EQ(m_disk.size(), 0u);
  EXPECT_EQ(m_feed.Problem(), "");
}

TEST_F(AlertFeedTest, WhatIsHeldIsToldWhenItIsNotAnyMore) {
  Begin("a", true);
  Begin("b", true);
  EXPECT_EQ(Pass(seconds(31)), Sizes{});
  End("b");
  EXPECT_EQ(Pass(seconds(1)), Sizes{});
  m_open["a"].isHeld = false;
  EXPECT_EQ(Pass(seconds(30)), Sizes{1});
  m_open["a"].isHeld = true;  // it goes on as it was told
  EXPECT_EQ(Pass(seconds(30)), Sizes{1});
  End("a");
  EXPECT_EQ(Pass(seconds(1)), Sizes{1});
}

}  // namespace
}  // namespace norvane::engine
