#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/FileDescriptor.h"

namespace norvane::bench {

/// A server in a process of its own, whose CPU time is not ours; it ends with this object, or with us. To be
/// made before this process has threads, and unmade in the opposite order.
class ServerProcess {
 public:
  /// Called in the new process: starts the server, which lives as long as what is given back.
  using Start = std::function<std::shared_ptr<void>(int& port)>;

  explicit ServerProcess(const Start& start);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  [[nodiscard]] int Port() const { return m_port; }
  /// "127.0.0.1:PORT".
  [[nodiscard]] std::string Address() const { return "127.0.0.1:" + std::to_string(m_port); }

 private:
  pid_t m_process = -1;
  platform::FileDescriptor m_end;
  int m_port = 0;
};

/// Any number of them, unmade in that order.
class ServerProcesses {
 public:
  ServerProcesses() = default;
  ~ServerProcesses() {
    while (!m_all.empty())
      m_all.pop_back();
  }
  ServerProcesses(const ServerProcesses&) = delete;
  ServerProcesses& operator=(const ServerProcesses&) = delete;

  const ServerProcess& Add(const ServerProcess::Start& start) {
    return *m_all.emplace_back(std::make_unique<ServerProcess>(start));
  }
  [[nodiscard]] const ServerProcess& At(std::size_t index) const { return *m_all.at(index); }

 private:
  std::vector<std::unique_ptr<ServerProcess>> m_all;
};

}  // namespace norvane::bench
