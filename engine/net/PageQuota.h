#pragma once

#include <atomic>
#include <cstddef>

namespace norvane::engine {

/// The bytes that pages may hold at once, in all loops and their threads.
class PageQuota {
 public:
  explicit PageQuota(std::size_t bytes) : m_left(bytes) {}

  /// False, and nothing is taken, if fewer are left.
  [[nodiscard]] bool Acquire(std::size_t bytes) noexcept {
    for (auto left = m_left.load(); bytes <= left;)
      if (m_left.compare_exchange_weak(left, left - bytes)) return true;
    return false;
  }
  void Release(std::size_t bytes) noexcept { m_left += bytes; }
  [[nodiscard]] std::size_t Left() const noexcept { return m_left; }

 private:
  std::atomic<std::size_t> m_left;
};

}  // namespace norvane::engine
