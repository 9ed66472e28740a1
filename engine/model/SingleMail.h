#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace norvane::engine {

/// A mail that goes to its address alone. With so many of them in a minute the next ones become a digest.
struct SingleMail {
  std::string address{};  ///< of a server
  std::chrono::system_clock::time_point at{};
  bool operator==(const SingleMail&) const = default;
};

/// By the identity of its message.
using SingleMails = std::map<std::string, SingleMail, std::less<>>;
/// By the identity of its message; none: it counts no longer.
using SingleMailChanges = std::map<std::string, std::optional<SingleMail>>;

}  // namespace norvane::engine
