#include "platform/Peer.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <system_error>

namespace norvane::platform {

namespace {
constexpr std::size_t MaxEntry = 1 << 16;  // of /etc/passwd or /etc/group

void ReadOption(int socket, int option, void* value, socklen_t& size) {
  if (::getsockopt(socket, SOL_SOCKET, option, value, &size) != 0)
    throw std::system_error(errno, std::generic_category(), "the peer of a socket");
}

std::string LocalUser(uid_t user) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen("/etc/passwd", "re"), &std::fclose);
  if (!file) return {};
  std::string buffer(MaxEntry, 0);
  passwd entry{};
  for (passwd* found = nullptr;
       ::fgetpwent_r(file.get(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr;)
    if (found->pw_uid == user) return found->pw_name;
  return {};
}
}  // namespace

Peer PeerOf(int socket) {
  ucred credentials{};
  socklen_t size = sizeof credentials;
  ReadOption(socket, SO_PEERCRED, &credentials, size);
  std::array<gid_t, 65536> groups;  // NGROUPS_MAX
  size = sizeof groups;
  ReadOption(socket, SO_PEERGROUPS, groups.data(), size);
  Peer peer{credentials.uid, credentials.pid, {groups.begin(), groups.begin() + size / sizeof(gid_t)}};
  peer.groups.push_back(credentials.gid);
  return peer;
}

std::string NameOf(const Peer& peer) {
  const auto user = LocalUser(peer.user), number = std::to_string(peer.user);
  std::string program;
  std::getline(std::ifstream("/proc/" + std::to_string(peer.process) + "/comm"), program);
  return (user.empty() ? "user " + number : user + " (" + number + ")") + ' ' +
         (program.empty() ? "process" : program) + '[' + std::to_string(peer.process) + ']';
}

std::optional<gid_t> FindGroup(const std::string& name) {
  std::string buffer(MaxEntry, 0);
  group entry{};
  group* found = nullptr;
  if (::getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
    return std::nullopt;
  return found->gr_gid;
}

}  // namespace norvane::platform
