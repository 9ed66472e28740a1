#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

#include "platform/FileDescriptor.h"

namespace norvane::link {

/// A socket of this machine that leads to that of an engine on another one, through ssh (ssh(1), "-L" with
/// sockets), as long as it lives. The socket is in a folder of its own that nobody else can open. ssh ends
/// with this process, however that ends. For one thread.
class SshForward {
 public:
  /// `host` is what ssh calls so: "user@server", or a name of its configuration; `folder` is the application
  /// folder there, or empty for that which an installed Norvane gives the user. Returns when the forwarding
  /// stands; ssh may ask for a password on the terminal meanwhile. Throws std::runtime_error, in the words of
  /// ssh.
  SshForward(const std::string& host, const std::string& folder,
             std::chrono::seconds timeout = std::chrono::minutes(2));
  ~SshForward();
  SshForward(const SshForward&) = delete;
  SshForward& operator=(const SshForward&) = delete;

  /// In which the socket lies, as if it were an application folder.
  [[nodiscard]] const std::string& LocalFolder() const { return m_local; }
  [[nodiscard]] const std::string& RemoteFolder() const { return m_remote; }

 private:
  void Connect();
  void Forward();
  [[nodiscard]] std::string ReadRemoteFolder();
  void End() noexcept;

  std::string m_host, m_remote, m_local;
  std::chrono::steady_clock::time_point m_deadline;
  pid_t m_ssh = -1;
  platform::FileDescriptor m_in, m_out, m_err;  // of ssh
};

}  // namespace norvane::link
