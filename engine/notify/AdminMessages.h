#pragma once

#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/model/Health.h"
#include "engine/model/OwedMessage.h"

namespace norvane::engine {

/// Where the engine reports on itself: a notification mode as that of a monitor, and an address or number.
struct AdminAddress {
  std::string mode{};  ///< empty: nothing is sent
  std::string to{};
  bool operator==(const AdminAddress&) const = default;
};

/// Messages to the administrator about conditions of the engine that begin or end, or recur with a text that
/// differs in more than numbers. What comes up within `GatherTime`, or while one is owed, is one message. On
/// the service thread.
class AdminMessages {
 public:
  static constexpr std::chrono::seconds GatherTime{10};
  static constexpr std::chrono::minutes MinPause{5};  ///< between two messages
  static constexpr std::size_t MaxLines = 50;         ///< in a message; further ones are counted
  static constexpr std::size_t MaxWaiting = 1000;
  /// The condition that a message was not accepted; none is sent about that.
  static constexpr std::string_view Unreachable = "administrator";

  using Owe = std::function<void(std::string identity, OwedMessage)>;

  AdminMessages(AdminAddress address, std::string folder, Owe owe, Health::Clock clock);

  /// Gives whether the address is another one.
  bool Configure(const AdminAddress& address) { return std::exchange(m_address, address) != address; }
  /// What is wrong with the address; empty if nothing is.
  [[nodiscard]] std::string Misconfigured() const;

  void Add(const Health::Condition& condition, Health::Change change);
  /// Owes what is due. To be called every few seconds.
  void OweDue();
  /// The message that is owed goes to the present address; false if there is none.
  [[nodiscard]] bool Resume(OwedMessage& message);
  /// The message is owed no more.
  void Ended();

 private:
  struct Line {
    std::chrono::system_clock::time_point at;
    std::string text;
  };

  [[nodiscard]] OwedMessage Message() const;

  AdminAddress m_address;
  std::string m_folder;
  Owe m_owe;
  Health::Clock m_clock;
  std::vector<Line> m_lines;
  std::set<std::string> m_told;  // texts without their numbers, since a condition ended
  bool m_isOwed = false;
  Health::Moment m_next{};
};

}  // namespace norvane::engine
