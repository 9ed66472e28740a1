#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/model/CheckResult.h"
#include "engine/model/Health.h"
#include "engine/model/Requests.h"

namespace norvane::engine {

/// Where the engine reports on itself: a notification mode as that of a monitor, and an address or number.
struct AdminAddress {
  std::string mode{};  ///< empty: nothing is sent
  std::string to{};
};

/// Messages to the administrator about conditions of the engine that begin or end. What comes up within
/// `GatherTime` is one message. One that is not accepted is tried again after each of `RetryPauses`, then
/// after the last of them until it is, with what has come up meanwhile. On the service thread.
class AdminMessages {
 public:
  static constexpr std::chrono::seconds GatherTime{10};
  static constexpr std::chrono::minutes MinPause{5};  ///< between two messages
  static constexpr std::chrono::minutes RetryPauses[] = {std::chrono::minutes(1), std::chrono::minutes(5),
                                                         std::chrono::minutes(15), std::chrono::minutes(60)};
  static constexpr std::size_t MaxLines = 50;  ///< in a message; further ones are counted
  static constexpr std::size_t MaxWaiting = 1000;

  /// Gives the ticket under which the end is reported.
  using Send = std::function<std::uint64_t(NotifyRequest)>;

  AdminMessages(AdminAddress address, std::string folder, Send send, Health::Clock clock);

  /// What is wrong with the address; empty if nothing is.
  [[nodiscard]] std::string Misconfigured() const;

  void Add(const Health::Condition& condition, Health::Change change);
  /// Sends what is due. To be called every few seconds.
  void SendDue();
  /// Whether the message being sent has this ticket.
  [[nodiscard]] bool IsSending(std::uint64_t ticket) const { return m_ticket != 0 && ticket == m_ticket; }
  /// The message being sent has ended.
  void Ended(const CheckResult& result);

 private:
  struct Line {
    std::chrono::system_clock::time_point at;
    std::string text;
  };

  [[nodiscard]] NotifyRequest Message() const;

  AdminAddress m_address;
  std::string m_folder;
  Send m_send;
  Health::Clock m_clock;
  std::vector<Line> m_lines;  ///< not accepted yet
  std::size_t m_sending = 0;  ///< so many of them are in the message being sent
  std::size_t m_tries = 0;
  std::uint64_t m_ticket = 0;  ///< 0: none is being sent
  Health::Moment m_next{};
};

}  // namespace norvane::engine
