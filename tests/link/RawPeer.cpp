#include "tests/link/RawPeer.h"

#include <cerrno>
#include <stdexcept>

#include "link/Wire.h"
#include "platform/FileNames.h"
#include "platform/UnixSocket.h"

namespace norvane::tests {

namespace {
platform::FileDescriptor Connected(const std::string& folder) {
  const platform::UnixAddress address(platform::PathIn(folder, platform::files::EngineSocket));
  platform::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (::connect(socket.Get(), address.Get(), platform::UnixAddress::Size()) != 0)
    throw std::runtime_error("the engine's socket cannot be reached");
  return socket;
}
}  // namespace

RawPeer::RawPeer(const std::string& folder) : m_socket(Connected(folder)) {}

void RawPeer::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto sent = ::send(m_socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;  // the engine has had enough of it
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::size_t RawPeer::SendSome(std::string_view bytes) {
  const auto sent = ::send(m_socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent < 0 && errno != EAGAIN) throw std::runtime_error("the engine has closed the connection");
  return sent < 0 ? 0 : static_cast<std::size_t>(sent);
}

void RawPeer::AwaitClosed() {
  char buffer[4096];
  while (::recv(m_socket.Get(), buffer, sizeof buffer, 0) > 0) {
  }
}

RawConsole::RawConsole(const std::string& folder)
    : m_io(kj::setupAsyncIo()),
      m_stream(m_io.lowLevelProvider->wrapSocketFd(Connected(folder).Release(),
                                                   kj::LowLevelAsyncIoProvider::TAKE_OWNERSHIP)),
      m_client(*m_stream) {}

capnp::Response<link::wire::Greeter::HelloResults> RawConsole::Hello(std::uint16_t version) {
  auto request = m_client.bootstrap().castAs<link::wire::Greeter>().helloRequest();
  request.setVersion(version);
  return request.send().wait(m_io.waitScope);
}

}  // namespace norvane::tests
