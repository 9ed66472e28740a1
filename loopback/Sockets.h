#pragma once

#include <netinet/in.h>

#include "platform/FileDescriptor.h"

namespace norvane::loopback {

/// Throws std::system_error for errno.
[[noreturn]] void ThrowErrno(const char* what);

[[nodiscard]] sockaddr_in Address(int port);

/// A TCP socket that never blocks.
[[nodiscard]] platform::FileDescriptor NewSocket();

/// Such a socket on a port of its own, which `port` gets.
[[nodiscard]] platform::FileDescriptor BoundSocket(int& port, in_addr_t host = INADDR_LOOPBACK);

}  // namespace norvane::loopback
