#include "platform/SecretFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "platform/FileDescriptor.h"

namespace norvane::platform {

namespace {

[[noreturn]] void ThrowLastError() {
  throw std::runtime_error(std::generic_category().message(errno));
}

}  // namespace

std::string ReadSecretFile(const std::string& path, std::size_t maxSize) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file || ::fstat(file.Get(), &status) != 0) ThrowLastError();
  if (!S_ISREG(status.st_mode)) throw std::runtime_error("not a regular file");
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    throw std::runtime_error("others than its owner have access");
  std::string bytes(maxSize, '\0');
  const auto size = ::read(file.Get(), bytes.data(), bytes.size());
  if (size < 0) ThrowLastError();
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

}  // namespace norvane::platform
