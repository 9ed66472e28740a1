#include "tests/engine/outages/OutageStory.h"

// What exits hear of outages and conditions, over restarts and kills.

namespace norvane::engine {
namespace {

TEST_F(OutageStory, AWebhookHearsOfTheEndAfterTheBeginning) {
  m_alarms.messages.webhooks["webhook chat"] = {.url = "http://hook/"};
  StartWithMonitor();
  EXPECT_EQ(m_engine->Save(m_folder / "NorvaneEngine.dat"), std::nullopt);
  m_engine->checks->notifyOutcome = "HTTP status 503";
  Check("down");
  EXPECT_EQ(Check("down"), (Calls{"Launch down.sh", "NotifyOnce  webhook chat"}));
  EXPECT_EQ(Check("Ok"), (Calls{"Launch up.sh", "NotifyOnce  webhook chat"}));
  const auto first = Messages().at(0);
  EXPECT_TRUE(Has(first.body, R"("event":"outage_begins")") && Has(first.body, R"("target":"http://shop/")"))
      << first.body;
  Restart(false);
  Wait(std::chrono::minutes(1));
  ASSERT_EQ(Messages().size(), 2u);
  EXPECT_EQ(Messages()[0].identity, first.identity);
  EXPECT_EQ(Messages()[0].body, first.body);
  EXPECT_NE(Messages()[1].identity, first.identity);
  EXPECT_TRUE(Has(Messages()[1].body, R"("event":"outage_ends")")) << Messages()[1].body;
  Check("down");
  Check("down");
  Set(keys::Status, "Disable");
  Settle();
  EXPECT_TRUE(Has(Messages().back().body, R"("event":"outage_ends")")) << Messages().back().body;
  EXPECT_TRUE(m_engine->service.Owed().empty());
}

TEST_F(OutageStory, AWebhookHearsOfConditionsIfItWants) {
  m_alarms.messages.webhooks["webhook chat"] = {.url = "http://hook/", .conditions = true};
  m_alarms.messages.webhooks["webhook ops"] = {.url = "http://hook/"};
  StartWithMonitor();
  m_engine->checks->figures.inFlight = 0;
  Set(keys::LogFile, "/proc/none/x.log");
  Check("Ok");
  m_engine->RunUntil([&] { return !m_engine->service.Conditions().empty(); });
  Wait(std::chrono::seconds(1));
  ASSERT_EQ(Messages().size(), 1u);
  EXPECT_EQ(Messages()[0].to, "webhook chat");
  EXPECT_TRUE(Has(Messages()[0].body, R"("event":"condition_begins")")) << Messages()[0].body;
  Shutdown();
  Start();
  Wait(std::chrono::minutes(1));
  ASSERT_FALSE(Messages().empty());
  EXPECT_TRUE(Has(Messages()[0].body, R"("event":"condition_ends")")) << Messages()[0].body;
}

TEST_F(OutageStory, EachAlertmanagerHearsOfTheEndThroughAKill) {
  m_alarms.alertmanagers = {"http://a:9093/", "http://b:9093"};
  StartWithMonitor();
  EXPECT_EQ(m_engine->Save(m_folder / "NorvaneEngine.dat"), std::nullopt);
  Check("down");
  Check("down");
  Wait(std::chrono::seconds(1));
  ASSERT_EQ(Messages().size(), 2u);
  EXPECT_EQ(Messages()[0].url, "http://a:9093/api/v2/alerts");
  const auto labels = [](const NotifyRequest& request) {
    return request.body.substr(0, request.body.find("annotations"));
  };
  const auto alert = labels(Messages()[1]);
  Restart(false);
  Set(keys::Parameter, "http://elsewhere/");
  m_engine->checks->holdNotifications = true;
  Check("Ok");
  Wait(std::chrono::seconds(1));
  ASSERT_EQ(Messages().size(), 2u);
  EXPECT_EQ(labels(Messages()[0]), alert);
  m_engine->checks->ReportNotification(0, m_engine->checks->held.at(0).second, "Ok");
  m_engine->checks->ReportNotification(0, m_engine->checks->held.at(1).second, "refused");
  m_engine->service.OnWake();
  EXPECT_EQ(m_engine->service.Owed().size(), 1u);
  Restart(false);
  Wait(std::chrono::seconds(1));
  EXPECT_EQ(Messages().size(), 2u);
  EXPECT_TRUE(m_engine->service.Owed().empty());
  Restart(false);
  Wait(std::chrono::seconds(60));
  EXPECT_EQ(Messages().size(), 0u);
}

}  // namespace
}  // namespace norvane::engine
