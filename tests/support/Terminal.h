#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/FileDescriptor.h"

namespace norvane::tests {

/// A terminal with a program on it; ended hard if the test leaves it running.
class Terminal {
 public:
  Terminal(const std::vector<std::string>& command, unsigned short columns, unsigned short rows);
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void Resize(unsigned short columns, unsigned short rows) const;
  void Write(const std::string& keys) const;
  /// Until the program has written this after what was awaited before. Throws std::runtime_error if it ends.
  void Await(const std::string& text);
  /// Its exit code, or 128 + signal.
  int Wait();
  [[nodiscard]] const std::string& Written() const { return m_written; }

 private:
  bool Read();

  platform::FileDescriptor m_master;
  pid_t m_pid = -1;
  std::string m_written;
  std::size_t m_awaited = 0;
};

}  // namespace norvane::tests
