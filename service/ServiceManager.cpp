#include "service/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <utility>

namespace norvane::service {

namespace {
constexpr unsigned WatchdogPause = 10;  // seconds; the unit allows 60
}

ServiceManager::ServiceManager() {
  const char* value = std::getenv("NOTIFY_SOCKET");
  if (value == nullptr) return;
  const std::string path = value;
  ::unsetenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() < 2 || path.size() >= sizeof address.sun_path) return;
  path.copy(address.sun_path, path.size());
  if (path.front() == '@') address.sun_path[0] = '\0';  // an abstract address
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  platform::FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (socket && ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), size) == 0)
    m_socket = std::move(socket);
}

void ServiceManager::Notify(const std::string& state) const {
  if (m_socket) ::send(m_socket.Get(), state.data(), state.size(), MSG_NOSIGNAL);
}

void ServiceManager::Report(bool isAlive, const std::string& status) {
  if (isAlive && m_calls++ % WatchdogPause == 0) Notify("WATCHDOG=1");
  if (status != m_status) Notify("STATUS=" + status);
  m_status = status;
}

}  // namespace norvane::service
