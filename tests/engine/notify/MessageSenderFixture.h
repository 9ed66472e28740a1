#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <set>

#include "engine/notify/MessageSender.h"

namespace norvane::tests {

using namespace engine;

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using Texts = std::vector<std::string>;
using Blame = SendFailure::Blame;
using Kind = OwedMessage::Kind;

inline constexpr const char* Good = "SMTP://good;me";
inline constexpr const char* Dead = "SMTP://dead;me";

/// A sender whose time, disk and servers the test plays.
class MessageSenderTest : public testing::Test, private ActionRunner {
 protected:
  struct Sent {
    NotifyRequest request;
    std::uint64_t ticket;
  };

  MessageSenderTest() { Make({}); }
  void Make(MessageSender::Options options) {
    m_inFlight.clear();
    m_sender.emplace(
        options,
        MessageSender::Hooks{
            *this, [this] { return ++m_lastTicket; },
            [this](const OwedMessage& message, const std::string& text) {
              m_log.push_back(message.monitor + ": " + text);
            },
            [](const OwedMessage&) {},
            [this](const std::string& identity, const OwedMessage&, const MessageSender::Ended& ended) {
              m_ended.push_back(identity + " " + std::to_string(static_cast<int>(ended.end)));
              m_toldEnd = ended.toldEnd;
            },
            [this] { return m_now; },
            [this](const OwedMessage& message) {
              return m_held.contains(message.monitor) ? "silenced" : "";
            }});
  }
  void Owe(const std::string& identity, const std::string& mode = Good, const std::string& to = "you",
           std::size_t size = 10) {
    OwedMessage message{.monitor = "m" + identity, .mode = mode, .to = to, .message = "down"};
    message.body = "body of " + identity + std::string(size, '.') + "\n";
    m_sender->Owe(identity, std::move(message));
  }
  /// What is written is on disk, unless the disk is full.
  void Keep() {
    if (const auto changes = m_sender->DequeueChanges(); !changes.empty()) {
      for (const auto& [identity, message] : changes) {
        m_disk.erase(identity);
        if (message && !m_isDiskFull) m_disk.emplace(identity, *message);
      }
      for (const auto& [identity, mail] : m_sender->DequeueSingles()) {
        m_singles.erase(identity);
        if (mail) m_singles.emplace(identity, *mail);
      }
      m_sender->Asked(++m_asked);
    }
    m_sender->SendDue(m_isDiskFull ? m_written : m_written = m_asked);
  }
  void Wait(Moment::duration time, Moment::duration step = seconds(1)) {
    for (const auto end = m_now + time; m_now < end;) {
      m_now += step;
      m_sender->OnSecond();
      Keep();
      Keep();
    }
  }
  /// The servers answer what is in flight until nothing is: each by the reason for its mode, "" is good.
  void Answer() {
    while (!m_inFlight.empty()) {
      const auto sent = m_inFlight.front();
      m_inFlight.erase(m_inFlight.begin());
      const auto& reason = m_reasons[sent.request.mode];
      const bool isBad = m_refuses && sent.request.to.starts_with("bad");
      const bool isSpam = Speaks(sent.request, "casino");
      const auto text = isBad ? "no such user" : isSpam ? "spam" : reason;
      if (text.empty()) m_accepted.push_back(sent.request);
      ++m_tries[sent.request.mode];
      const auto blame = isBad ? Blame::Recipient : isSpam ? Blame::Message : Blame::Server;
      EXPECT_TRUE(
          m_sender->Receive({0,
                             sent.ticket,
                             {text.empty() ? Outcome::Good : Outcome::Failed, text.empty() ? "Ok" : text, {}},
                             {},
                             {blame, m_isUnanswered}}));
      Keep();
    }
  }
  [[nodiscard]] static bool Speaks(const NotifyRequest& request, std::string_view of) {
    return request.body.find(of) != std::string::npos;
  }
  [[nodiscard]] Texts Identities(const std::vector<NotifyRequest>& requests) const {
    Texts identities;
    for (const auto& request : requests)
      identities.push_back(request.identity);
    return identities;
  }
  [[nodiscard]] Texts InFlight() const {
    Texts identities;
    for (const auto& sent : m_inFlight)
      identities.push_back(sent.request.identity);
    return identities;
  }

  Moment m_now{hours(100)};
  std::map<std::string, std::string> m_reasons;  // of failures, by mode
  std::map<std::string, int> m_tries;            // by mode
  std::vector<Sent> m_inFlight;
  std::vector<NotifyRequest> m_accepted;
  OwedMessages m_disk;
  SingleMails m_singles;  // on disk too
  bool m_isDiskFull = false, m_isUnanswered = false, m_refuses = true;
  std::set<std::string> m_held;  // monitors
  Texts m_log, m_ended;
  bool m_toldEnd = false;
  std::optional<MessageSender> m_sender;

 private:
  void NotifyOnce(NotifyRequest request, std::uint64_t ticket) override {
    EXPECT_TRUE(m_isDiskFull || m_disk.contains(request.identity) || request.identity.ends_with("-d"));
    m_inFlight.push_back({std::move(request), ticket});
  }
  void Launch(LaunchRequest) override {}
  void HandBackLaunches() override {}

  std::uint64_t m_lastTicket = 0;
  std::uint64_t m_asked = 0, m_written = 0;
};

}  // namespace norvane::tests
