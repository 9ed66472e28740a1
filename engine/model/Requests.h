#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/model/Attributes.h"

namespace norvane::engine {

/// Unique while the engine lives: the table's generation in the upper half, a running number in the lower.
using MonitorId = std::uint64_t;

/// What a check needs to know of its monitor.
struct CheckTarget {
  MonitorId id = 0;
  std::string name;  ///< full name; its head is the type
  std::shared_ptr<const Attributes> attributes;
};

/// A notification to be sent.
struct NotifyRequest {
  MonitorId id = 0;
  std::string mode;     ///< the attribute, unparsed
  std::string to;       ///< mail address or number
  std::string message;  ///< the mail's subject, or the short message
  std::string body;     ///< of a mail
  /// The same for each try, so that a repetition can be recognised; empty: made anew for each.
  std::string identity{};
  std::string url{};  ///< of an exit, instead of a mode: gets `body` by POST, or a GET if that is empty
  std::string headerFile{};  ///< path of a file with further headers; may be empty
};

/// A program to be started because of a monitor.
struct LaunchRequest {
  MonitorId id = 0;
  std::string name;                      ///< of the monitor, in full
  std::string program;                   ///< the attribute, unparsed
  std::vector<std::string> environment;  ///< "NAME=value", beside what every program gets
  std::uint64_t ticket = 0;
};

/// A page to be fetched for somebody to look at.
struct FetchRequest {
  std::string url;                  ///< as a person types it
  std::chrono::milliseconds limit;  ///< until the page is complete
};

}  // namespace norvane::engine
