#pragma once

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace norvane::engine {

/// A page as it arrives. What it holds is taken from `quota`, bytes that all pages in flight share, and
/// goes back there with it; `quota` outlives the page.
class HeldPage {
 public:
  explicit HeldPage(std::size_t& quota) : m_quota(quota) {}
  ~HeldPage() { Clear(); }
  HeldPage(const HeldPage&) = delete;
  HeldPage& operator=(const HeldPage&) = delete;

  /// False, and nothing is appended, if the quota or the memory doesn't suffice.
  [[nodiscard]] bool Append(std::string_view bytes) noexcept {
    if (bytes.size() > m_quota) return false;
    try {
      m_bytes.append(bytes);
    } catch (const std::bad_alloc&) {
      return false;
    }
    m_quota -= bytes.size();
    return true;
  }
  void Clear() noexcept { static_cast<void>(Release()); }  // memory that it kept would count for nobody
  /// The page now counts for the caller.
  [[nodiscard]] std::string Release() noexcept {
    m_quota += m_bytes.size();
    return std::exchange(m_bytes, {});
  }
  [[nodiscard]] const std::string& Bytes() const noexcept { return m_bytes; }

 private:
  std::size_t& m_quota;
  std::string m_bytes;
};

}  // namespace norvane::engine
