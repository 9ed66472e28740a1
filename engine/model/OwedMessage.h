#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace norvane::engine {

/// A message that somebody is to get because of an outage. It is on disk from before it is first sent until
/// its channel has accepted it, or it is given up or dropped.
struct OwedMessage {
  enum class Kind {
    Failure,
    Recovery,
    Event,    ///< for one of the exits that all monitors share
    Admin,    ///< of the engine about itself
    Command,  ///< no message: a command that the engine, as it ended, had not started yet
  };
  using Time = std::chrono::system_clock::time_point;

  Kind kind = Kind::Failure;
  std::string monitor{};  ///< full name; empty: about the engine itself
  std::string exit{};     ///< section of config.ini, such as "webhook chat"; empty: by `mode`
  std::string mode{};     ///< a notification mode, unparsed
  std::string to{};       ///< mail address or number
  std::string message{};  ///< the mail's subject, or the short message
  std::string body{};     ///< of a mail, or of an event
  Time since{};           ///< when the message came to be owed
  Time failingSince{};    ///< the first failure of its outage
  Time endedAt{};         ///< of its outage; the epoch while that lasts
  int tries = 0;
  Time nextTry{};        ///< not before
  std::string reason{};  ///< why the last try failed
  std::string digest{};  ///< identity of the mail in which it is sent with others; empty: alone
  std::string left{};    ///< those of several addresses that have yet to get it; empty: all
  int unanswered = 0;    ///< tries after which it may have arrived
  bool operator==(const OwedMessage&) const = default;
};

/// By identity: unique, and the same for each try, so that a repetition can be recognised.
using OwedMessages = std::map<std::string, OwedMessage, std::less<>>;
/// By identity; none: no longer owed.
using OwedChanges = std::map<std::string, std::optional<OwedMessage>>;

}  // namespace norvane::engine
