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
  void Ready(const std::string& folder);

 private:
  platform::FileDescriptor m_ready;
};

}  // namespace norvane::service
