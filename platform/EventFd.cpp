#include "platform/EventFd.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace norvane::platform {

EventFd::EventFd() : m_fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!m_fd) throw std::system_error(errno, std::generic_category(), "eventfd");
}

void EventFd::Signal() noexcept {
  const std::uint64_t one = 1;
  // Fails only when the counter is full, and then a signal is pending anyway.
  [[maybe_unused]] const auto written = ::write(m_fd.Get(), &one, sizeof one);
}

void EventFd::Clear() noexcept {
  std::uint64_t count = 0;
  // Fails only when nothing is pending.
  [[maybe_unused]] const auto got = ::read(m_fd.Get(), &count, sizeof count);
}

}  // namespace norvane::platform
