#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace norvane::engine {

/// A page as it arrives. What it holds comes out of `room`, bytes that all pages in flight share, and goes
/// back there with it; `room` outlives the page.
class HeldPage {
 public:
  explicit HeldPage(std::size_t& room) : m_room(room) {}
  ~HeldPage() { Clear(); }
  HeldPage(const HeldPage&) = delete;
  HeldPage& operator=(const HeldPage&) = delete;

  /// False, and nothing is taken, if the room doesn't suffice.
  [[nodiscard]] bool Append(std::string_view bytes) {
    if (bytes.size() > m_room) return false;
    m_bytes.append(bytes);
    m_room -= bytes.size();
    return true;
  }
  void Clear() noexcept {
    m_room += m_bytes.size();
    std::string().swap(m_bytes);  // room that it kept would count for nobody
  }
  [[nodiscard]] const std::string& Bytes() const noexcept { return m_bytes; }

 private:
  std::size_t& m_room;
  std::string m_bytes;
};

}  // namespace norvane::engine
