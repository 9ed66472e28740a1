#include "loopback/Sockets.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace norvane::loopback {

using platform::FileDescriptor;

void ThrowErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_in Address(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

FileDescriptor NewSocket() {
  FileDescriptor fd(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!fd) ThrowErrno("socket");
  return fd;
}

FileDescriptor BoundSocket(int& port, in_addr_t host) {
  auto fd = NewSocket();
  auto address = Address(0);
  address.sin_addr.s_addr = htonl(host);
  socklen_t size = sizeof address;
  if (::bind(fd.Get(), reinterpret_cast<sockaddr*>(&address), size) != 0) ThrowErrno("bind");
  if (::getsockname(fd.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) ThrowErrno("getsockname");
  port = ntohs(address.sin_port);
  return fd;
}

}  // namespace norvane::loopback
