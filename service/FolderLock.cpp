#include "service/FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>

namespace norvane::service {

FolderLock::FolderLock(const std::string& folder) {
  const std::string path = folder + "/NorvaneEngine.lock";
  m_file.Reset(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!m_file) throw std::system_error(errno, std::generic_category(), path);
  if (::flock(m_file.Get(), LOCK_EX | LOCK_NB) == 0) return;
  if (errno == EWOULDBLOCK) throw FolderTaken{"another engine serves the folder " + folder};
  throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace norvane::service
