#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/FileDescriptor.h"

namespace norvane::tests {

/// One of the built programs, by name.
[[nodiscard]] std::string Program(const std::string& name);

struct Finished {
  int code = -1;  ///< exit code, or 128 + signal
  bool hasDumped = false;
  std::string out;
  std::string err;
};

/// A process that a test started; ended hard if the test leaves it running.
class Process {
 public:
  explicit Process(const std::vector<std::string>& command, const std::string& input = "");
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void Signal(int signal) const;
  /// By now, to its standard output. Throws std::runtime_error if it has closed that.
  [[nodiscard]] bool HasWritten(const std::string& text);
  /// Waits for its end and gives all that it wrote.
  Finished Wait();

 private:
  pid_t m_pid = -1;
  platform::FileDescriptor m_out, m_err;
  std::string m_written;  // to its standard output, as far as it was read
};

[[nodiscard]] Finished RunProgram(const std::vector<std::string>& command, const std::string& input = "");

}  // namespace norvane::tests
