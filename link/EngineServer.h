#pragma once

#include <kj/async-io.h>
#include <kj/async-unix.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "engine/Service.h"
#include "platform/Peer.h"

namespace norvane::link {

/// Whether the process may connect: of the engine's own user, root, or a member of the group.
[[nodiscard]] bool MayConnect(const platform::Peer& peer, std::optional<gid_t> group);

/// Serves the engine's service to consoles through the socket in the application folder, mode 0600, or 0660
/// for a group. Lives on the service thread's kj loop, for which it also calls `Service::OnWake`. The
/// destructor closes all connections and removes the socket.
///
/// A connection is dropped when its peer may not connect, does not say hello in time, or breaks the
/// protocol; no console can hold up another.
class EngineServer final : private kj::TaskSet::ErrorHandler {
 public:
  struct Options {
    /// Locked by the caller: a socket found there is stale.
    std::string folder;
    /// A console asks the engine to end; on the service thread.
    std::function<void()> onShutdown = [] {};
    /// A line for the administrator.
    std::function<void(const std::string&)> log = [](const auto&) {};
    std::chrono::milliseconds handshake{5000};
    std::size_t maxConnections = 32;
    /// Members may connect too. Whoever gives it has let them into the folder.
    std::optional<gid_t> group{};
    std::function<bool(const platform::Peer&, std::optional<gid_t>)> mayConnect = MayConnect;
  };

  /// Throws EngineError (Invalid) if the folder's path is too long for a socket, std::system_error if the
  /// socket cannot be made. The first two must outlive the server.
  EngineServer(kj::AsyncIoContext& io, engine::Service& service, Options options);
  ~EngineServer() noexcept;
  EngineServer(const EngineServer&) = delete;
  EngineServer& operator=(const EngineServer&) = delete;

  /// Another group, or none, from now on; who is connected stays so. Throws std::system_error if the socket
  /// cannot be given to it.
  void SetGroup(std::optional<gid_t> group);

 private:
  class Connection;
  class Greeter;
  class HeldSession;

  kj::Promise<void> WatchService();
  kj::Promise<void> Accept();
  void Admit(kj::Own<kj::AsyncIoStream> stream);
  void taskFailed(kj::Exception&& exception) override;

  kj::AsyncIoContext& m_io;
  engine::Service& m_service;
  Options m_options;
  std::chrono::system_clock::time_point m_startedAt = std::chrono::system_clock::now();
  kj::UnixEventPort::FdObserver m_wake;
  kj::Own<kj::ConnectionReceiver> m_listener;
  std::size_t m_connections = 0;
  kj::TaskSet m_tasks;
};

}  // namespace norvane::link
