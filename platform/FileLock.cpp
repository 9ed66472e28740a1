#include "platform/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>

namespace norvane::platform {

std::optional<FileLock> FileLock::TryLock(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file) throw std::system_error(errno, std::generic_category(), path);
  if (::flock(file.Get(), LOCK_EX | LOCK_NB) == 0) return FileLock(std::move(file));
  if (errno == EWOULDBLOCK) return std::nullopt;
  throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace norvane::platform
