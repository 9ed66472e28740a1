#pragma once

#include <optional>
#include <string>

#include "platform/FileDescriptor.h"

namespace norvane::platform {

/// A lock on a file, held for as long as this object lives, or the process.
class FileLock {
 public:
  /// Makes the file, mode 0600, if there is none. Nothing if another process holds the lock. Throws
  /// std::system_error with the path.
  [[nodiscard]] static std::optional<FileLock> TryLock(const std::string& path);

 private:
  explicit FileLock(FileDescriptor file) : m_file(std::move(file)) {}
  FileDescriptor m_file;
};

}  // namespace norvane::platform
