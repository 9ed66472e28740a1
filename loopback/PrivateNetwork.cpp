#include "loopback/PrivateNetwork.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "loopback/Sockets.h"

namespace norvane::loopback {

namespace {

void Need(bool worked, const char* what) {
  if (!worked)
    throw std::runtime_error(std::string("no network of its own (") + what + "): " + std::strerror(errno));
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text << std::flush;
  Need(file.good(), path.c_str());
}

void RaiseLoopback() {
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  Need(::ioctl(NewSocket().Get(), SIOCSIFFLAGS, &request) == 0, "loopback device");
}

}  // namespace

void EnterPrivateNetwork() {
  const auto user = std::to_string(::getuid());
  const auto group = std::to_string(::getgid());
  Need(::unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) == 0, "unshare");
  WriteFile("/proc/self/setgroups", "deny");
  WriteFile("/proc/self/uid_map", user + " " + user + " 1\n");
  WriteFile("/proc/self/gid_map", group + " " + group + " 1\n");
  RaiseLoopback();
}

void AskLoopbackForNames(const std::string& folder) {
  const auto names = folder + "/resolv.conf";
  WriteFile(names, "nameserver 127.0.0.1\n");
  Need(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
  Need(::mount(names.c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr) == 0, "/etc/resolv.conf");
}

}  // namespace norvane::loopback
