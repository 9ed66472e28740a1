#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <optional>
#include <string>

#include "platform/FileDescriptor.h"

namespace norvane::platform {

/// The address of a socket in the file system. A path longer than an address can hold (107 bytes) is reached
/// through a descriptor of its folder, so the address is good only as long as this lives, in this process.
class UnixAddress {
 public:
  /// Throws std::system_error if the folder of a long path cannot be opened.
  explicit UnixAddress(const std::string& path);

  [[nodiscard]] const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&m_address); }
  [[nodiscard]] static constexpr socklen_t Size() { return sizeof(sockaddr_un); }

 private:
  sockaddr_un m_address{};
  FileDescriptor m_folder;
};

/// Listens at `path`, in place of what lies there; for this user only, or for a group too. The socket doesn't
/// block. Throws std::system_error.
[[nodiscard]] FileDescriptor ListenAt(const std::string& path, int backlog, std::optional<gid_t> group = {});

/// Lets a group use the socket that lies at `path`, or this user alone. Throws std::system_error.
void SetSocketGroup(const std::string& path, std::optional<gid_t> group);

/// A connected socket that doesn't block; none, and `errno`, if that fails at once. Throws as UnixAddress.
[[nodiscard]] FileDescriptor ConnectTo(const std::string& path);

}  // namespace norvane::platform
