#pragma once

#include <string>

#include "platform/FileDescriptor.h"

namespace norvane::service {

/// Puts the process into the background: a session of its own, input closed. Until `Ready` the output stays
/// where the caller sees it; from then on it goes to `log/engine.log` of the folder.
class Daemon {
 public:
  /// Forks, so no thread may run yet. The parent doesn't come back: it waits for `Ready` and ends with 0, or
  /// ends with the child's exit code if the child ends before. Throws std::system_error.
  Daemon();
  void Ready(const std::string& folder);

 private:
  platform::FileDescriptor m_ready;
};

}  // namespace norvane::service
