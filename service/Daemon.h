#pragma once

#include <string>

#include "platform/FileDescriptor.h"

namespace norvane::service {

/// Runs the process in the background: its own session, no input. Until `Ready` the output goes to the
/// caller; from then on to `log/engine.log` of the folder.
class Daemon {
 public:
  /// Forks, so no thread may run yet. Does not return in the parent, which waits for `Ready` and exits with
  /// 0, or with the child's exit code if the child exits before. Throws std::system_error.
  Daemon();
  /// Gives why the log cannot be opened; the output goes nowhere then. Throws std::system_error.
  [[nodiscard]] std::string Ready(const std::string& folder);
  /// Whether the output goes to the caller no more.
  [[nodiscard]] bool IsReady() const { return !m_ready; }

 private:
  platform::FileDescriptor m_ready;
};

}  // namespace norvane::service
