#include "tests/engine/notify/MessageSenderFixture.h"

namespace norvane::engine {
namespace {

using namespace tests;

TEST_F(MessageSenderTest, AMonitorsMessagesGoInOrder) {
  const auto owe = [this](const char* identity, Kind kind) {
    OwedMessage message{.kind = kind, .monitor = "shop", .mode = Good, .to = "you", .message = identity};
    m_sender->Owe(identity, std::move(message));
  };
  struct Row {
    const char* name;
    Kind first, second;
    Texts accepted;
  };
  for (const auto& [name, first, second, accepted] :
       {Row{"an outage that has ended", Kind::Failure, Kind::Failure, {"1", "2"}},
        Row{"a recovery is overtaken", Kind::Recovery, Kind::Failure, {"2"}},
        Row{"a recovery after its failure", Kind::Failure, Kind::Recovery, {"1", "2"}}}) {
    SCOPED_TRACE(name);
    Make({});
    m_accepted.clear();
    m_disk.clear();
    m_reasons[Good] = "busy";
    owe("1", first);
    Keep();
    Answer();
    m_reasons.clear();
    owe("2", second);
    Keep();
    Answer();
    EXPECT_EQ(Identities(m_accepted), accepted);
    EXPECT_TRUE(m_disk.empty());
  }
}

TEST_F(MessageSenderTest, RedirectsWhatWaitsButNothingInFlight) {
  Make({.single = 1});
  m_reasons[Dead] = "dead";
  Owe("1", Dead);
  Owe("2", Dead);  // gathers
  Owe("3", Dead, "other");
  Owe("4", Dead, "third");
  Keep();
  Answer();
  m_sender->Revise([](OwedMessage& message) {
    message.mode = Good;
    return message.to == "third" ? "gone" : "";
  });
  Keep();
  Answer();
  Wait(minutes(2));
  Answer();
  auto accepted = Identities(m_accepted);
  std::sort(accepted.begin(), accepted.end());
  EXPECT_EQ(accepted, (Texts{"1", "2", "3"}));
  EXPECT_EQ(m_ended.front(), "4 2");
  EXPECT_TRUE(m_disk.empty());
}

TEST_F(MessageSenderTest, SendsWhatIsOnDiskAndOneAtATimeToAServer) {
  Owe("1");
  Owe("2", "smtp://GOOD ;other");
  Owe("3", Dead);
  Owe("4", "http://gate:80/x?%s%s");
  Owe("5", "http://gate:80/y?%s%s");
  Owe("6", "TEL://");
  Owe("7", "tel://");
  m_sender->SendDue(0);
  EXPECT_EQ(InFlight(), Texts{});
  Keep();
  auto inFlight = InFlight();
  std::sort(inFlight.begin(), inFlight.end());
  EXPECT_EQ(inFlight, (Texts{"1", "3", "4", "6"}));
  const auto first = std::find_if(m_inFlight.begin(), m_inFlight.end(),
                                  [](const Sent& sent) { return sent.request.identity == "1"; });
  ASSERT_TRUE(m_sender->Receive({0, first->ticket, {Outcome::Good, "Ok", {}}}));
  EXPECT_EQ(m_ended, Texts{"1 0"});
  m_sender->SendDue(1);
  EXPECT_EQ(InFlight().size(), 4u) << "the end of the first is not on disk";
  m_inFlight.erase(first);
  Keep();
  EXPECT_EQ(InFlight().back(), "2");
  Answer();
  EXPECT_EQ(m_disk, OwedMessages{});
  EXPECT_FALSE(m_sender->IsSending());
}

TEST_F(MessageSenderTest, WhatCannotBeWrittenIsSentAllTheSame) {
  m_isDiskFull = true;
  Owe("1");
  Owe("2");
  Keep();
  Wait(MessageSender::MaxWriteTime - seconds(2));
  EXPECT_EQ(InFlight(), Texts{});
  Wait(seconds(3));
  EXPECT_EQ(InFlight(), Texts{"1"});
  Answer();
  EXPECT_EQ(m_accepted.size(), 2u) << "each waited for the disk anew";
}

TEST_F(MessageSenderTest, TriesAgainEverLessOftenForADayThenGivesUp) {
  m_reasons[Good] = "connection refused";
  Owe("1");
  Keep();
  Answer();
  EXPECT_EQ(m_disk.at("1").tries, 1);
  EXPECT_EQ(m_disk.at("1").reason, "connection refused");
  Wait(std::chrono::milliseconds(3900));
  EXPECT_EQ(InFlight(), Texts{});
  Wait(std::chrono::milliseconds(2200));
  EXPECT_EQ(InFlight(), Texts{"1"});
  for (int i = 0; i < 25 * 360; ++i) {
    Answer();
    Wait(seconds(10), seconds(10));
  }
  Answer();
  EXPECT_GT(m_tries[Good], 24 * 12 * 4 / 5);
  EXPECT_LT(m_tries[Good], 24 * 12 * 6 / 5 + 10);
  ASSERT_EQ(m_ended, Texts{"1 1"});
  EXPECT_EQ(m_disk, OwedMessages{});
  EXPECT_TRUE(m_log.back().starts_with("m1: notification given up after ")) << m_log.back();
  EXPECT_LE(m_log.size(), 26u) << "each hour at most";
}

TEST_F(MessageSenderTest, NeitherABadAddressNorADeadServerHoldsUpOthers) {
  for (int i = 0; i < 30; ++i)
    Owe("bad " + std::to_string(i), Good, "bad");
  m_reasons[Dead] = "no answer";
  for (int i = 0; i < 500; ++i)
    Owe("dead " + std::to_string(i), "SMTP://dead;me", "d" + std::to_string(i));
  Keep();
  Answer();
  for (int i = 0; i < 60; ++i) {
    Wait(seconds(10));
    Answer();
  }
  EXPECT_LT(m_tries[Dead], 60) << "each message tries for itself";
  EXPECT_EQ(std::count_if(m_log.begin(), m_log.end(),
                          [](const auto& line) { return line.ends_with(": no answer"); }),
            500)
      << "some don't know why they wait";
  EXPECT_EQ(m_accepted.size(), 0u);
  Owe("good");
  Keep();
  Answer();
  EXPECT_EQ(Identities(m_accepted), Texts{"good"});
  EXPECT_NE(m_sender->Problem().find(": no "), std::string::npos);
  EXPECT_TRUE(m_sender->Problem().ends_with(" (and 1 more)")) << m_sender->Problem();
  m_reasons[Dead].clear();
  Wait(seconds(400));
  Answer();
  EXPECT_GT(m_accepted.size(), 400u);
  for (int i = 0; i < 60; ++i) {
    Wait(seconds(10));
    Answer();
  }
  EXPECT_EQ(m_accepted.size(), 501u);
  EXPECT_EQ(m_disk.size(), 30u);
}

TEST_F(MessageSenderTest, AStormToOneAddressBecomesADigest) {
  Make({.single = 3});
  for (int i = 0; i < 6; ++i)
    Owe(std::to_string(i), i % 2 == 0 ? Good : "smtp://GOOD;me", i % 2 == 0 ? "you" : "YOU ");
  Owe("other", Good, "her");
  for (int i = 0; i < 6; ++i)
    Owe("call " + std::to_string(i), "TEL://", "555");
  Keep();
  Answer();
  EXPECT_EQ(m_accepted.size(), 3u + 1 + 6);
  Wait(seconds(9));
  Owe("late");
  Wait(seconds(9));
  Answer();
  EXPECT_EQ(m_accepted.size(), 10u) << "more may come";
  for (const char* mode : {Good, "smtp://GOOD;me"})
    m_reasons[mode] = "busy";
  Wait(seconds(2));
  Answer();
  std::set<std::string> digests;
  for (const auto& [identity, message] : m_disk)
    digests.insert(message.digest);
  ASSERT_EQ(digests.size(), 1u) << "what it holds must be known before it is sent";
  // A killed engine repeats the same mail.
  m_reasons.clear();
  Make({.single = 3});
  m_sender->Restore(OwedMessages(m_disk), {});
  Wait(seconds(7));
  Answer();
  ASSERT_EQ(m_accepted.size(), 11u);
  const auto& digest = m_accepted.back();
  EXPECT_EQ(digest.identity, *digests.begin());
  EXPECT_NE(digest.message.find("4 notifications"), std::string::npos) << digest.message;
  for (const char* part : {"body of 3", "body of 4", "body of 5", "body of late", "== down =="})
    EXPECT_NE(digest.body.find(part), std::string::npos) << digest.body;
  EXPECT_EQ(m_disk, OwedMessages{});
  EXPECT_EQ(m_ended.size(), 14u);
}

TEST_F(MessageSenderTest, ARestartGoesOnCountingMails) {
  for (int i = 0; i < 9; ++i) {
    Make({.single = 3});
    m_sender->Restore(OwedMessages(m_disk), SingleMails(m_singles));
    Owe(std::to_string(i));
    Keep();
    if (i != 2) Answer();  // one is in flight at a kill: it goes alone once more
  }
  EXPECT_EQ(Identities(m_accepted), (Texts{"0", "1", "2"}));
  Wait(seconds(9));
  Answer();
  EXPECT_EQ(m_accepted.size(), 3u);
  Wait(seconds(2));
  Answer();
  EXPECT_EQ(m_accepted.size(), 4u);
  Wait(minutes(1));
  Owe("later");
  Keep();
  EXPECT_EQ(m_singles.size(), 1u) << "those that count no longer";
}

TEST_F(MessageSenderTest, ADigestGathersForAMinuteAndHasALimit) {
  Make({.single = 0});
  for (int i = 0; i < 11; ++i) {
    Owe(std::to_string(i), Good, "you", MessageSender::MaxDigestSize / 5);
    Wait(seconds(5));
    Answer();
  }
  EXPECT_EQ(m_accepted.size(), 0u);
  Wait(seconds(5));
  Answer();
  ASSERT_EQ(m_accepted.size(), 4u);
  std::size_t parts = 0;
  for (const auto& digest : m_accepted) {
    EXPECT_LT(digest.body.size(), MessageSender::MaxDigestSize + 1000);
    for (auto at = digest.body.find("body of"); at != std::string::npos;
         at = digest.body.find("body of", at + 1))
      ++parts;
  }
  EXPECT_EQ(parts, 11u);
}

TEST_F(MessageSenderTest, WhatIsHeldLeavesItsDigestAndDelaysNobody) {
  Make({.single = 0});
  for (int i = 0; i < 4; ++i)
    Owe(std::to_string(i));
  m_held = {"m1", "m3"};
  Wait(seconds(12));
  Answer();
  ASSERT_EQ(m_accepted.size(), 1u);
  for (const auto& [part, isIn] : {std::pair{"of 0", true}, {"of 1", false}, {"of 2", true}, {"of 3", false}})
    EXPECT_EQ(m_accepted[0].body.find(part) != std::string::npos, isIn) << part;
  EXPECT_EQ(m_sender->All().at("3").reason, "held: silenced");
  Wait(hours(48), minutes(10));
  m_held = {"m3"};
  Wait(seconds(2));
  Answer();
  EXPECT_EQ(Identities(m_accepted).back(), "1");
  EXPECT_TRUE(m_sender->DropWaiting("3", "over"));
  Owe("call", "TEL://");
  Keep();
  EXPECT_FALSE(m_sender->DropWaiting("call", "over"));
  Answer();
  EXPECT_EQ(m_accepted.size(), 3u);
  EXPECT_EQ(m_disk, OwedMessages{});
}

TEST_F(MessageSenderTest, AMessageTellsOfTheEndOfItsOutage) {
  for (const auto& [mode, isMail] : {std::pair{Good, true}, {"TEL://", false}}) {
    SCOPED_TRACE(mode);
    Owe("1", mode);
    Keep();
    const auto end = std::chrono::system_clock::now();
    m_sender->OutageEnded("1", end);
    Keep();
    EXPECT_EQ(m_disk.at("1").endedAt, end);
    m_reasons[mode] = "busy";
    Answer();
    m_reasons[mode].clear();
    Wait(seconds(7));
    Answer();
    const auto& request = m_accepted.back();
    EXPECT_NE((isMail ? request.body : request.message).find("down from "), std::string::npos)
        << request.body;
    EXPECT_EQ(request.message == "down", isMail);
    EXPECT_TRUE(m_toldEnd);
  }
  Owe("1");
  Keep();
  m_sender->OutageEnded("1", std::chrono::system_clock::now());
  Answer();
  EXPECT_FALSE(m_toldEnd) << "it was being sent when the outage ended";
}

TEST_F(MessageSenderTest, WhatIsDroppedIsGoneWhateverBecomesOfIt) {
  for (const char* reason : {"", "busy"}) {
    SCOPED_TRACE(reason);
    m_reasons[Good] = reason;
    Owe("1");
    Owe("2");
    Keep();
    EXPECT_EQ(m_sender->Drop([](const OwedMessage& message) { return message.monitor == "m1"; }, "why"), 1u);
    EXPECT_EQ(m_log.back(), "m1: notification dropped while it is sent: why");
    Keep();
    EXPECT_EQ(m_disk.size(), 1u);
    Answer();
    m_reasons[Good].clear();
    Wait(seconds(7));
    Answer();
    EXPECT_EQ(m_accepted.back().identity, "2");
    EXPECT_EQ(m_disk, OwedMessages{});
    EXPECT_EQ(m_sender->Problem(), "");
  }
}

TEST_F(MessageSenderTest, LeavesAServerAloneForAsLongAsItAsks) {
  MessageSender::Options options;
  options.webhooks["webhook chat"] = {.url = "http://hook/x"};
  Make(options);
  const auto owe = [&](const std::string& identity) {
    OwedMessage message{
        .kind = Kind::Event, .monitor = "m", .exit = "webhook chat", .message = "outage_begins"};
    m_sender->Owe(identity, std::move(message));
    Keep();
  };
  owe("1-b1");
  ASSERT_EQ(InFlight(), Texts{"1-b1"});
  EXPECT_EQ(m_inFlight[0].request.url, "http://hook/x");
  const auto ticket = m_inFlight[0].ticket;
  m_inFlight.clear();
  ASSERT_TRUE(m_sender->Receive({0, ticket, {Outcome::Failed, "HTTP status 429", {}}, hours(1)}));
  owe("2-b1");
  Wait(minutes(59), minutes(1));
  EXPECT_EQ(InFlight(), Texts{});
  Make(options);
  m_sender->Restore(OwedMessages(m_disk), {});
  Wait(minutes(1), minutes(1));
  EXPECT_EQ(InFlight(), Texts{"2-b1"});  // which was never refused
  Answer();
  Wait(minutes(58), minutes(1));
  EXPECT_EQ(InFlight(), Texts{});
  Wait(minutes(2), minutes(1));
  EXPECT_EQ(InFlight(), Texts{"1-b1"});
}

}  // namespace
}  // namespace norvane::engine
