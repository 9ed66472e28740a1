#include "engine/notify/AdminMessages.h"

#include <gtest/gtest.h>

#include <iterator>
#include <optional>

namespace norvane::engine {
namespace {

using std::chrono::seconds;
using Change = Health::Change;

class AdminMessagesTest : public testing::Test {
 protected:
  void Add(const std::string& text, Change change = Change::Begins) { m_messages.Add({text, {}}, change); }
  /// What is sent when so much time has passed: the lines of the message's body, without their time.
  std::string After(seconds time) {
    m_now += time;
    m_sent.reset();
    m_messages.OweDue();
    if (!m_sent) return "nothing";
    EXPECT_EQ(m_sent->to, "you@example.com");
    std::string lines;
    for (auto at = m_sent->body.find('\n') + 1; at < m_sent->body.size();
         at = m_sent->body.find('\n', at) + 1)
      lines +=
          m_sent->body.substr(at, m_sent->body.find('\n', at) - at).substr(m_sent->body.find(' ', at) - at);
    return lines;
  }

  Health::Moment m_now = Health::Moment() + std::chrono::hours(1);
  std::optional<OwedMessage> m_sent;
  AdminMessages m_messages{{"SMTP://mail;me", "you@example.com"},
                           "/folder",
                           [this](const std::string&, OwedMessage message) { m_sent = std::move(message); },
                           [this] { return m_now; }};
};

TEST_F(AdminMessagesTest, GatherWhatComesUpTogetherAndPauseBetweenMessages) {
  EXPECT_EQ(After(seconds(600)), "nothing");
  Add("disk full");
  Add("name server");
  EXPECT_EQ(After(seconds(9)), "nothing");
  Add("name server", Change::Recurs);
  Add("command x waits for 5 s", Change::Recurs);
  Add("command x waits for 10 s", Change::Recurs);
  EXPECT_EQ(After(seconds(1)), " disk full name server command x waits for 5 s");
  EXPECT_NE(m_sent->message.find("disk full (and 2 more)"), std::string::npos) << m_sent->message;
  Add("disk full", Change::Ends);
  EXPECT_EQ(After(std::chrono::hours(9)), "nothing") << "one at a time";
  m_messages.Ended();
  EXPECT_EQ(After(AdminMessages::MinPause - seconds(1)), "nothing");
  EXPECT_EQ(After(seconds(1)), " resolved: disk full");
}

}  // namespace
}  // namespace norvane::engine
