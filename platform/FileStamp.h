#pragma once

#include <sys/stat.h>

#include <cstdint>

namespace norvane::platform {

/// Differs for a file that was changed or replaced.
struct FileStamp {
  std::int64_t seconds = 0, nanoseconds = 0;  ///< of the last change
  std::uint64_t inode = 0;
  std::int64_t size = 0;

  /// All zeros if there is no such file.
  [[nodiscard]] static FileStamp Of(const char* path) {
    struct stat status {};
    ::stat(path, &status);
    return {status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ino, status.st_size};
  }
  bool operator==(const FileStamp&) const = default;
};

}  // namespace norvane::platform
