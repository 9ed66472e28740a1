#pragma once

#include <chrono>
#include <random>

#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// Pauses between tries: doubled after each failure, up to a limit, and each longer or shorter by up to a
/// fifth, so that nobody tries in step with others.
class RetryPause {
 public:
  RetryPause(std::chrono::seconds first, std::chrono::seconds longest) : m_first(first), m_longest(longest) {}

  [[nodiscard]] Moment::duration After(int failures) { return After(failures, m_first, m_longest); }
  /// With other limits.
  [[nodiscard]] Moment::duration After(int failures, std::chrono::seconds first,
                                       std::chrono::seconds longest);

 private:
  std::chrono::seconds m_first, m_longest;
  std::minstd_rand m_random{std::random_device{}()};
};

}  // namespace norvane::engine
