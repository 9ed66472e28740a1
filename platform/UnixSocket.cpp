#include "platform/UnixSocket.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace norvane::platform {

namespace {
[[noreturn]] void ThrowSystemError(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

FileDescriptor NewSocket() {
  return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}
}  // namespace

UnixAddress::UnixAddress(const std::string& path) {
  m_address.sun_family = AF_UNIX;
  std::string reachable = path;
  if (path.size() >= sizeof m_address.sun_path) {
    const auto slash = path.rfind('/') + 1;
    m_folder = FileDescriptor(::open(path.substr(0, slash).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!m_folder) ThrowSystemError(path);
    reachable = "/proc/self/fd/" + std::to_string(m_folder.Get()) + '/' + path.substr(slash);
  }
  if (reachable.size() >= sizeof m_address.sun_path) {
    errno = ENAMETOOLONG;
    ThrowSystemError(path);
  }
  reachable.copy(m_address.sun_path, reachable.size());
}

/// Nobody can connect before the mode is set: the file gets the mode of its socket. The umask is not changed
/// instead, since other threads create files and folders.
FileDescriptor ListenAt(const std::string& path, int backlog, std::optional<gid_t> group) {
  const UnixAddress address(path);
  auto socket = NewSocket();
  if (!socket) ThrowSystemError("socket");
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) ThrowSystemError(path);
  if (::fchmod(socket.Get(), 0600) != 0 || ::bind(socket.Get(), address.Get(), UnixAddress::Size()) != 0 ||
      ::listen(socket.Get(), backlog) != 0)
    ThrowSystemError(path);
  if (group) SetSocketGroup(path, group);
  return socket;
}

void SetSocketGroup(const std::string& path, std::optional<gid_t> group) {
  if (::chmod(path.c_str(), 0600) != 0 ||
      (group &&
       (::lchown(path.c_str(), static_cast<uid_t>(-1), *group) != 0 || ::chmod(path.c_str(), 0660) != 0)))
    ThrowSystemError(path);
}

FileDescriptor ConnectTo(const std::string& path) {
  const UnixAddress address(path);
  auto socket = NewSocket();
  if (socket && ::connect(socket.Get(), address.Get(), UnixAddress::Size()) != 0) {
    const int error = errno;
    socket.Reset();
    errno = error;
  }
  return socket;
}

}  // namespace norvane::platform
