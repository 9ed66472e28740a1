#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace norvane::platform {

/// The process at the other end of a Unix socket, as it was when it connected (unix(7)).
struct Peer {
  uid_t user = 0;
  pid_t process = 0;
  std::vector<gid_t> groups;  ///< the supplementary ones too
};

/// Throws std::system_error.
[[nodiscard]] Peer PeerOf(int socket);

/// "anna (1000) norvanectl[4711]", for logs. Looks into /etc/passwd only, which never waits for a network: a
/// user that lies elsewhere has a number alone, and a process that has ended no name.
[[nodiscard]] std::string NameOf(const Peer& peer);

/// May ask a server of the network.
[[nodiscard]] std::optional<gid_t> FindGroup(const std::string& name);

}  // namespace norvane::platform
