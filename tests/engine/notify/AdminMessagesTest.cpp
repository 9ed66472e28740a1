#include "engine/notify/AdminMessages.h"

#include <gtest/gtest.h>

#include <iterator>
#include <optional>

namespace norvane::engine {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using Change = Health::Change;

class AdminMessagesTest : public testing::Test {
 protected:
  void Add(const std::string& text, Change change = Change::Begins) { m_messages.Add({text, {}}, change); }
  /// What is sent when so much time has passed: the lines of the message's body, without their time.
  std::string After(seconds time) {
    m_now += time;
    m_sent.reset();
    m_messages.SendDue();
    if (!m_sent) return "nothing";
    EXPECT_EQ(m_sent->to, "you@example.com");
    std::string lines;
    for (auto at = m_sent->body.find('\n') + 1; at < m_sent->body.size();
         at = m_sent->body.find('\n', at) + 1)
      lines +=
          m_sent->body.substr(at, m_sent->body.find('\n', at) - at).substr(m_sent->body.find(' ', at) - at);
    return lines;
  }
  void End(bool accepted) {
    EXPECT_TRUE(m_messages.IsSending(m_ticket));
    m_messages.Ended({accepted ? Outcome::Good : Outcome::Failed, accepted ? "Ok" : "no route", {}});
    EXPECT_FALSE(m_messages.IsSending(m_ticket));
  }

  Health::Moment m_now = Health::Moment() + std::chrono::hours(1);
  std::optional<NotifyRequest> m_sent;
  std::uint64_t m_ticket = 0;
  AdminMessages m_messages{{"SMTP://mail;me", "you@example.com"},
                           "/folder",
                           [this](NotifyRequest message) {
                             m_sent = std::move(message);
                             return ++m_ticket;
                           },
                           [this] { return m_now; }};
};

TEST_F(AdminMessagesTest, GatherWhatComesUpTogetherAndPauseBetweenMessages) {
  EXPECT_EQ(After(minutes(10)), "nothing");
  Add("disk full");
  Add("name server");
  EXPECT_EQ(After(seconds(9)), "nothing");
  Add("name server", Change::Recurs);
  EXPECT_EQ(After(seconds(1)), " disk full name server");
  EXPECT_NE(m_sent->message.find("disk full (and 1 more)"), std::string::npos) << m_sent->message;
  Add("disk full", Change::Ends);
  EXPECT_EQ(After(minutes(9)), "nothing") << "one at a time";
  End(true);
  EXPECT_EQ(After(AdminMessages::MinPause - seconds(1)), "nothing");
  EXPECT_EQ(After(seconds(1)), " resolved: disk full");
}

TEST_F(AdminMessagesTest, TryAgainUntilTheyAreAccepted) {
  Add("first");
  EXPECT_EQ(After(seconds(10)), " first");
  for (const auto pause : AdminMessages::RetryPauses) {
    End(false);
    EXPECT_EQ(After(pause - seconds(1)), "nothing");
    EXPECT_EQ(After(seconds(1)), " first");
  }
  const auto pause = *std::rbegin(AdminMessages::RetryPauses);
  for (int i = 0; i < 3; ++i) {
    Add("later");
    End(false);
    EXPECT_EQ(After(pause - seconds(1)), "nothing");
    EXPECT_NE(After(seconds(1)), "nothing");
  }
  EXPECT_EQ(m_sent->body.find("first") < m_sent->body.find("later"), true);
  End(true);
  EXPECT_EQ(After(std::chrono::hours(2)), "nothing");
  Add("again");
  EXPECT_EQ(After(seconds(10)), " again");
  End(false);
  EXPECT_EQ(After(AdminMessages::RetryPauses[0]), " again") << "the pauses begin anew";
}

}  // namespace
}  // namespace norvane::engine
