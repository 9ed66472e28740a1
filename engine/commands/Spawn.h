#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/FileDescriptor.h"

namespace norvane::engine {

/// A program that was started.
struct Spawned {
  pid_t pid = 0;                    ///< also its process group
  platform::FileDescriptor pidfd;   ///< readable once it has ended
  platform::FileDescriptor output;  ///< what it writes to its standard output and error; non-blocking
};

/// Starts the program at `path` without arguments in `folder`, with nothing of this process but
/// `environment`: no other descriptor, no blocked or ignored signal. Throws std::system_error with the
/// reason.
[[nodiscard]] Spawned Spawn(const std::string& path, const std::string& folder,
                            const std::vector<std::string>& environment);

}  // namespace norvane::engine
