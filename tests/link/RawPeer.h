#pragma once

#include <capnp/rpc-twoparty.h>
#include <kj/async-io.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "link/engine.capnp.h"
#include "platform/FileDescriptor.h"

namespace norvane::tests {

/// A peer of the engine's socket that sends whatever bytes a test likes.
class RawPeer {
 public:
  explicit RawPeer(const std::string& folder);
  void Send(std::string_view bytes);
  /// Sends what fits into the socket at once; returns how much that was. Throws if the connection is closed.
  [[nodiscard]] std::size_t SendSome(std::string_view bytes);
  /// Receives until the engine closes the connection.
  void AwaitClosed();

 private:
  platform::FileDescriptor m_socket;
};

/// A console of its own make: speaks the protocol, but follows and answers as a test likes. Has a kj loop on
/// the test's thread.
class RawConsole {
 public:
  explicit RawConsole(const std::string& folder);
  /// Its greeting; the connection stays.
  [[nodiscard]] capnp::Response<link::wire::Greeter::HelloResults> Hello(std::uint16_t version);
  [[nodiscard]] kj::WaitScope& Scope() { return m_io.waitScope; }

 private:
  kj::AsyncIoContext m_io;
  kj::Own<kj::AsyncIoStream> m_stream;
  capnp::TwoPartyClient m_client;
};

}  // namespace norvane::tests
