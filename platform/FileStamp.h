#pragma once

#include <sys/stat.h>

#include <cstdint>

namespace norvane::platform {

/// Differs for a file that was changed or replaced, or whose owner or mode was changed.
struct FileStamp {
  std::int64_t seconds = 0, nanoseconds = 0;              ///< of the last change of what is in it
  std::int64_t statusSeconds = 0, statusNanoseconds = 0;  ///< and of anything about it
  std::uint64_t inode = 0;
  std::int64_t size = 0;

  /// All zeros if there is no such file.
  [[nodiscard]] static FileStamp Of(const char* path) {
    struct stat status {};
    ::stat(path, &status);
    return {status.st_mtim.tv_sec,  status.st_mtim.tv_nsec, status.st_ctim.tv_sec,
            status.st_ctim.tv_nsec, status.st_ino,          status.st_size};
  }
  bool operator==(const FileStamp&) const = default;
};

}  // namespace norvane::platform
