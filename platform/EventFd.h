#pragma once

#include "platform/FileDescriptor.h"

namespace norvane::platform {

/// Wakes a loop from another thread. Throws std::system_error when the kernel has no descriptor left.
class EventFd {
 public:
  EventFd();
  /// Readable while a signal is pending.
  [[nodiscard]] int Fd() const noexcept { return m_fd.Get(); }
  /// From any thread; signals that were not yet cleared count as one.
  void Signal() noexcept;
  void Clear() noexcept;

 private:
  FileDescriptor m_fd;
};

}  // namespace norvane::platform
