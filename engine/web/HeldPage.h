#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "engine/net/PageQuota.h"
#include "platform/MemoryReserve.h"

namespace norvane::engine {

inline constexpr std::string_view NotEnoughMemory = "not enough memory for the page";
inline constexpr std::string_view TooManyLargePages = "too many large pages at once";

/// A page as it arrives. Its bytes are taken from `quota`, which outlives it, and go back there with it.
class HeldPage {
 public:
  explicit HeldPage(PageQuota& quota) : m_quota(quota) {}
  HeldPage(HeldPage&& other) noexcept
      : m_quota(other.m_quota),
        m_bytes(std::move(other.m_bytes)),
        m_size(std::exchange(other.m_size, 0)),
        m_capacity(std::exchange(other.m_capacity, 0)) {}
  ~HeldPage() { Clear(); }
  HeldPage& operator=(HeldPage&&) = delete;

  /// Why nothing was appended, a literal for the user; empty when it was.
  [[nodiscard]] std::string_view Append(std::string_view bytes) noexcept {
    // A large page takes no more than it leaves to others, so that some is left for small ones.
    const auto size = m_size + bytes.size();
    if (size > SmallSize && size > m_quota.Left()) return TooManyLargePages;
    if (!m_quota.Acquire(bytes.size())) return TooManyLargePages;
    if (!Reserve(size)) {
      m_quota.Release(bytes.size());
      return NotEnoughMemory;
    }
    std::memcpy(m_bytes.get() + m_size, bytes.data(), bytes.size());
    m_size += bytes.size();
    return {};
  }
  void Clear() noexcept {
    m_bytes.reset();
    m_capacity = 0;
    m_quota.Release(std::exchange(m_size, 0));
  }
  [[nodiscard]] std::string_view Bytes() const noexcept { return {m_bytes.get(), m_size}; }

 private:
  struct Free {
    void operator()(char* bytes) const noexcept { std::free(bytes); }
  };

  static constexpr std::size_t SmallSize = 64 << 10;

  /// By realloc, which moves a large page by its page table instead of copying it. What is kept back when
  /// memory is short is not for large ones.
  [[nodiscard]] bool Reserve(std::size_t size) noexcept {
    if (size <= m_capacity) return true;
    const auto capacity = m_capacity == 0 ? size : size + size / 4;
    const bool isSmall = capacity <= SmallSize;
    if (!isSmall && platform::IsMemoryShort()) return false;
    auto* moved = static_cast<char*>(isSmall ? platform::ReservedRealloc(m_bytes.get(), capacity)
                                             : std::realloc(m_bytes.get(), capacity));
    if (moved == nullptr) return false;
    static_cast<void>(m_bytes.release());
    m_bytes.reset(moved);
    m_capacity = capacity;
    return true;
  }

  PageQuota& m_quota;
  std::unique_ptr<char, Free> m_bytes;
  std::size_t m_size = 0;
  std::size_t m_capacity = 0;
};

}  // namespace norvane::engine
