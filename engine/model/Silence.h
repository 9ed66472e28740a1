#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace norvane::engine {

/// A time in which a monitor's outages send and start nothing.
struct Silence {
  std::chrono::system_clock::time_point until{};
  std::string because{};  ///< for people; may be empty
  std::chrono::system_clock::time_point since{};
  bool operator==(const Silence&) const = default;
};

/// By the monitor's full name.
using Silences = std::map<std::string, Silence, std::less<>>;
/// By the monitor's full name; none: it has ended.
using SilenceChanges = std::map<std::string, std::optional<Silence>>;

}  // namespace norvane::engine
