#pragma once

#include <sys/stat.h>

#include <cstdint>

namespace norvane::platform {

/// Differs for another file, whatever is in it. All zeros: there is none.
struct FileIdentity {
  std::uint64_t device = 0, inode = 0;

  /// A link is a file of its own.
  [[nodiscard]] static FileIdentity At(const char* path) {
    struct stat info {};
    return ::lstat(path, &info) == 0 ? FileIdentity{info.st_dev, info.st_ino} : FileIdentity();
  }
  [[nodiscard]] static FileIdentity Of(int fd) {
    struct stat info {};
    return ::fstat(fd, &info) == 0 ? FileIdentity{info.st_dev, info.st_ino} : FileIdentity();
  }
  bool operator==(const FileIdentity&) const = default;
};

}  // namespace norvane::platform
