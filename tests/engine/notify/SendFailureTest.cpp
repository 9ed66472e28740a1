#include "tests/engine/notify/MessageSenderFixture.h"

namespace norvane::engine {
namespace {

using namespace tests;

class SendFailureTest : public MessageSenderTest {};

TEST_F(SendFailureTest, ARefusedAddressDelaysNobodyElse) {
  for (int i = 0; i < 12; ++i)
    Owe("gone " + std::to_string(i), Good, "bad " + std::to_string(i));
  Owe("first", Good, "bad but new");
  Owe("second", Good, "bad but new");
  Owe("good");
  Keep();
  Answer();
  EXPECT_EQ(Identities(m_accepted), Texts{"good"});
  for (int i = 0; i < 6; ++i) {
    Wait(seconds(5));
    Answer();
  }
  EXPECT_EQ(m_disk.at("first").tries + m_disk.at("second").tries, 3) << "by now it has one pause of its own";
  const auto second = m_sender->All().at("second");
  EXPECT_EQ(second.reason, "no such user");
  EXPECT_GT(second.nextTry, std::chrono::system_clock::now());
  for (int i = 0; i < 200; ++i) {
    Wait(seconds(5));
    Answer();
  }
  m_refuses = false;
  Owe("third", Good, "bad but new");
  Keep();
  Answer();
  auto accepted = Identities(m_accepted);
  std::sort(accepted.begin(), accepted.end());
  EXPECT_EQ(accepted, (Texts{"first", "good", "second", "third"}))
      << "an accepted one doesn't release others";
}

TEST_F(SendFailureTest, WhatIsWrongWithOneMessageDelaysNoOther) {
  Make({.single = 2});
  Owe("casino 0");
  Owe("1");
  for (int i = 2; i < 40; ++i)
    Owe((i == 20 ? "casino " : "") + std::to_string(i));
  Keep();
  Answer();
  EXPECT_EQ(Identities(m_accepted), Texts{"1"});
  Wait(seconds(12));
  Answer();
  EXPECT_EQ(m_accepted.size(), 1 + 6u) << "the digest was not halved";
  ASSERT_EQ(m_disk.size(), 2u);
  EXPECT_TRUE(m_disk.contains("casino 0") && m_disk.contains("casino 20"));
  std::size_t told = 0;
  for (const auto& request : m_accepted)
    for (int i = 1; i < 40; ++i)
      told += Speaks(request, "body of " + std::to_string(i) + ".") ? 1 : 0;
  EXPECT_EQ(told, 38u);
  EXPECT_EQ(m_log.end(), std::find(m_log.begin(), m_log.end(), "m3: notification failed: spam"));
  Wait(hours(23), seconds(10));
  EXPECT_LE(m_disk.at("casino 0").tries, 40);
}

TEST_F(SendFailureTest, RepeatsSeldomWhatMayHaveArrived) {
  m_reasons[Good] = "no answer";
  m_isUnanswered = true;
  Owe("1");
  Keep();
  Answer();
  EXPECT_EQ(m_log.back(), "m1: notification perhaps sent: no answer");
  Wait(seconds(7));
  Answer();
  EXPECT_EQ(m_tries[Good], 2);
  Wait(minutes(7));
  Make({});
  m_sender->Restore(OwedMessages(m_disk), {});
  Wait(seconds(30));
  EXPECT_EQ(InFlight(), Texts{}) << "a restart repeats it";
  for (int i = 0; i < 22 * 60; ++i) {
    Wait(minutes(1), seconds(10));
    Answer();
  }
  EXPECT_GT(m_tries[Good], 20);
  EXPECT_LT(m_tries[Good], 35);
}

TEST_F(SendFailureTest, TriesOnlyThoseOfSeveralAddressesThatHaveNotGotIt) {
  const auto acceptAllBut = [this](const std::string& left) {
    ASSERT_EQ(m_inFlight.size(), 1u);
    const auto ticket = m_inFlight.front().ticket;
    m_inFlight.clear();
    EXPECT_TRUE(m_sender->Receive(
        {0, ticket, {Outcome::Failed, "greylisted", {}}, {}, {Blame::Recipient, false, left}}));
    Keep();
  };
  Owe("1", Good, "her, bad him");
  Keep();
  acceptAllBut("bad him");
  EXPECT_EQ(m_sender->All().at("1").to, "bad him");
  Make({});
  m_sender->Restore(OwedMessages(m_disk), {});
  Wait(minutes(2));
  ASSERT_EQ(m_inFlight.size(), 1u);
  EXPECT_EQ(m_inFlight.front().request.to, "bad him") << "she gets it again after a restart";
  m_refuses = false;
  Answer();
  EXPECT_EQ(m_ended, Texts{"1 0"});
  EXPECT_FALSE(m_toldEnd) << "she has not heard of the end";
}

TEST_F(SendFailureTest, GivesUpOnlyWhatItCouldTry) {
  m_reasons[Good] = "connection refused";
  const auto now = std::chrono::system_clock::now();
  OwedMessage old{.monitor = "old", .mode = Good, .to = "you", .since = now - hours(72)};
  OwedMessage unset = old;
  unset.since = {};  // of a machine whose clock was not set
  m_disk = {{"1", old}, {"2", unset}};
  m_sender->Restore(OwedMessages(m_disk), {});
  m_held = {"m3"};
  Owe("3", Good, "her");
  const auto pass = [&](Moment::duration time) {
    for (const auto end = m_now + time; m_now < end;) {
      Wait(seconds(10), seconds(10));
      Answer();
    }
  };
  pass(minutes(50));
  EXPECT_EQ(m_ended, Texts{});
  pass(minutes(20));
  std::sort(m_ended.begin(), m_ended.end());
  EXPECT_EQ(m_ended, (Texts{"1 1", "2 1"}));
  pass(hours(25));
  m_held.clear();
  pass(minutes(50));
  EXPECT_EQ(m_ended.size(), 2u);
  pass(minutes(20));
  EXPECT_EQ(m_ended.size(), 3u);
}

}  // namespace
}  // namespace norvane::engine
