#pragma once

#include <chrono>
#include <string>

namespace norvane::console::engine {

/// A message that somebody is to get and that no channel has accepted yet.
struct OwedMessage {
  using Time = std::chrono::system_clock::time_point;

  std::string monitor{};  ///< full name; empty: of the engine about itself
  std::string message{};  ///< the mail's subject, or the short message
  std::string to{};       ///< mail address or number
  std::string mode{};     ///< how it is sent, without a password
  Time since{};           ///< when it came to be owed
  int tries = 0;
  std::string reason{};  ///< why it has not been accepted; empty while it is on its way
  Time nextTry{};        ///< the epoch: as soon as its turn comes
  bool operator==(const OwedMessage&) const = default;
};

}  // namespace norvane::console::engine
