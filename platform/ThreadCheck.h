#pragma once

#include <thread>

namespace norvane::platform {

/// Remembers the thread that an object belongs to, for `assert(m_thread.IsInside())` at its entry points.
/// That is the thread which makes the object, until another one adopts it.
class ThreadCheck {
 public:
  void Adopt() noexcept { m_owner = std::this_thread::get_id(); }
  [[nodiscard]] bool IsInside() const noexcept { return std::this_thread::get_id() == m_owner; }

 private:
  std::thread::id m_owner = std::this_thread::get_id();
};

}  // namespace norvane::platform
