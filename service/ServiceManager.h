#pragma once

#include <string>

#include "platform/FileDescriptor.h"

namespace norvane::service {

/// The service manager that started the process, if it listens: systemd's notification protocol,
/// sd_notify(3).
class ServiceManager {
 public:
  /// Its socket is named by NOTIFY_SOCKET, which is removed from the environment.
  ServiceManager();

  /// `state` are lines such as "READY=1". Never waits.
  void Notify(const std::string& state) const;
  /// Keeps its watchdog quiet while the engine is alive, and shows a line for people. To be called every
  /// second.
  void Report(bool isAlive, const std::string& status);

 private:
  platform::FileDescriptor m_socket;  ///< none if nobody listens
  std::string m_status;
  unsigned m_calls = 0;
};

}  // namespace norvane::service
