#pragma once

#include <unistd.h>

#include <utility>

namespace norvane::platform {

/// Owns one file descriptor; -1 is none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) noexcept : m_fd(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.m_fd, -1));
    return *this;
  }
  ~FileDescriptor() { Reset(); }

  [[nodiscard]] int Get() const noexcept { return m_fd; }
  [[nodiscard]] int Release() noexcept { return std::exchange(m_fd, -1); }
  void Reset(int fd = -1) noexcept {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = fd;
  }
  explicit operator bool() const noexcept { return m_fd >= 0; }

 private:
  int m_fd = -1;
};

}  // namespace norvane::platform
