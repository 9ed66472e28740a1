#include "link/EngineServer.h"

#include <capnp/rpc-twoparty.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

#include "console/engine/MonitorKeys.h"
#include "link/PacedStream.h"
#include "link/Session.h"
#include "link/Wire.h"
#include "platform/FileNames.h"
#include "platform/UnixSocket.h"

namespace norvane::link {

using console::engine::KnownKeys;

namespace {
/// Limit, in words, of one console's messages that wait for their answer; beyond it no more are read. A
/// single message may be larger.
constexpr std::size_t MaxWordsInFlight = 8192;
/// What comes before is small, and anybody can send it.
constexpr std::uint64_t MaxMessageBeforeHello = 4096;
constexpr auto AcceptPause = 100 * kj::MILLISECONDS;
constexpr int Backlog = 64;

std::string SocketPath(const std::string& folder) {
  return platform::PathIn(folder, platform::files::EngineSocket);
}

void WriteKnownKeys(capnp::List<capnp::Text>::Builder to) {
  for (unsigned i = 0; i < to.size(); ++i)
    to.set(i, ToText(std::string(KnownKeys[i])));
}

void WriteTypes(engine::MonitorTypes types, capnp::List<wire::MonitorType>::Builder to) {
  for (unsigned i = 0; i < to.size(); ++i) {
    to[i].setName(ToText(std::string(types[i].name)));
    to[i].setHasPage(types[i].hasPage);
  }
}
}  // namespace

bool MayConnect(const platform::Peer& peer, std::optional<gid_t> group) {
  return peer.user == ::geteuid() || peer.user == 0 ||
         (group && std::ranges::find(peer.groups, *group) != peer.groups.end());
}

/// The session of a connection, closed at its end whoever else still refers to it.
class EngineServer::HeldSession {
 public:
  HeldSession() = default;
  ~HeldSession() noexcept {
    if (m_session != nullptr) m_session->Close();
  }
  HeldSession(const HeldSession&) = delete;
  HeldSession& operator=(const HeldSession&) = delete;

  [[nodiscard]] bool IsOpen() const { return m_session != nullptr; }
  wire::Session::Client Hold(kj::Own<Session> session) {
    m_session = session.get();
    return m_client.emplace(kj::mv(session));
  }

 private:
  Session* m_session = nullptr;
  std::optional<wire::Session::Client> m_client;  // keeps it
};

class EngineServer::Greeter final : public wire::Greeter::Server {
 public:
  Greeter(EngineServer& server, std::string peer, PacedStream& stream, HeldSession& session,
          kj::PromiseFulfiller<void>& failed)
      : m_server(server), m_peer(std::move(peer)), m_stream(stream), m_session(session), m_failed(failed) {}

  kj::Promise<void> hello(HelloContext context) override {
    KJ_REQUIRE(!m_session.IsOpen(), "a second hello");
    auto greeting = context.getResults().initGreeting();
    greeting.setVersion(wire::PROTOCOL_VERSION);
    const auto version = context.getParams().getVersion();
    if (version == wire::PROTOCOL_VERSION) {
      Introduce(greeting.initEngine());
    } else {
      greeting.setRefusal(ToText("protocol version mismatch: engine " +
                                 std::to_string(wire::PROTOCOL_VERSION) + ", client " +
                                 std::to_string(version) + "; the programs are of different releases"));
    }
    return kj::READY_NOW;
  }

 private:
  void Introduce(wire::EngineInfo::Builder engine) {
    engine.setSession(m_session.Hold(kj::heap<Session>(
        m_server.m_service, ChangeLog(m_server.m_service, m_peer), m_server.m_options.onShutdown,
        [this] { return m_stream.WhenAllIsRead(); }, m_failed)));
    engine.setInstance(ToText(m_server.m_service.Instance()));
    engine.setVersion(NORVANE_VERSION);
    engine.setProcessId(static_cast<std::uint32_t>(::getpid()));
    engine.setFolder(ToText(m_server.m_options.folder));
    engine.setStartedAt(ToMilliseconds(m_server.m_startedAt));
    WriteKnownKeys(engine.initKnownKeys(KnownKeys.size()));
    const auto types = m_server.m_service.Types();
    WriteTypes(types, engine.initMonitorTypes(static_cast<unsigned>(types.size())));
  }

  EngineServer& m_server;
  std::string m_peer;
  PacedStream& m_stream;
  HeldSession& m_session;
  kj::PromiseFulfiller<void>& m_failed;
};

class EngineServer::Connection {
 public:
  /// `peer` is its name.
  Connection(EngineServer& server, kj::Own<kj::AsyncIoStream> stream, const std::string& peer)
      : Connection(server, kj::mv(stream), peer, kj::newPromiseAndFulfiller<void>()) {}
  ~Connection() noexcept { --m_server.m_connections; }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Ends or fails with the connection.
  kj::Promise<void> Run() {
    auto handshake = m_server.m_io.provider->getTimer()
                         .afterDelay(m_server.m_options.handshake.count() * kj::MILLISECONDS)
                         .then([this]() -> kj::Promise<void> {
                           if (m_session.IsOpen()) return kj::NEVER_DONE;
                           return KJ_EXCEPTION(FAILED, "no hello from a console in time");
                         });
    return m_network.onDisconnect().exclusiveJoin(kj::mv(m_failed)).exclusiveJoin(kj::mv(handshake));
  }

 private:
  Connection(EngineServer& server, kj::Own<kj::AsyncIoStream> stream, const std::string& peer,
             kj::PromiseFulfillerPair<void> failed)
      : m_server(server),
        m_failed(kj::mv(failed.promise)),
        m_fail(kj::mv(failed.fulfiller)),
        m_stream(kj::mv(stream),
                 [this] { return m_session.IsOpen() ? MaxMessageToEngine : MaxMessageBeforeHello; }),
        m_network(m_stream, capnp::rpc::twoparty::Side::SERVER, ReaderLimit(MaxMessageToEngine)),
        m_rpc(
            capnp::makeRpcServer(m_network, kj::heap<Greeter>(server, peer, m_stream, m_session, *m_fail))) {
    m_rpc.setFlowLimit(MaxWordsInFlight);
    ++m_server.m_connections;
  }

  EngineServer& m_server;
  HeldSession m_session;
  kj::Promise<void> m_failed;
  kj::Own<kj::PromiseFulfiller<void>> m_fail;  // used by the session until it is closed
  PacedStream m_stream;
  capnp::TwoPartyVatNetwork m_network;
  capnp::RpcSystem<capnp::rpc::twoparty::VatId> m_rpc;
};

EngineServer::EngineServer(kj::AsyncIoContext& io, engine::Service& service, Options options)
    : m_io(io),
      m_service(service),
      m_options(std::move(options)),
      m_wake(io.unixEventPort, service.WakeFd(), kj::UnixEventPort::FdObserver::OBSERVE_READ),
      m_tasks(*this) {
  using Provider = kj::LowLevelAsyncIoProvider;
  m_listener = io.lowLevelProvider->wrapListenSocketFd(
      platform::ListenAt(SocketPath(m_options.folder), Backlog, m_options.group).Release(),
      Provider::TAKE_OWNERSHIP | Provider::ALREADY_CLOEXEC | Provider::ALREADY_NONBLOCK);
  m_tasks.add(WatchService());
  m_tasks.add(Accept());
}

EngineServer::~EngineServer() noexcept {
  ::unlink(SocketPath(m_options.folder).c_str());
}

void EngineServer::SetGroup(std::optional<gid_t> group) {
  m_options.group = group;
  platform::SetSocketGroup(SocketPath(m_options.folder), group);
}

kj::Promise<void> EngineServer::WatchService() {
  return m_wake.whenBecomesReadable().then([this] {
    // An error with one result must not end this loop.
    try {
      m_service.OnWake();
    } catch (const std::exception& error) {
      // Whether there is memory for the log or not.
      static_cast<void>(
          kj::runCatchingExceptions([&] { m_options.log(std::string("result lost: ") + error.what()); }));
    }
    return WatchService();
  });
}

kj::Promise<void> EngineServer::Accept() {
  return m_listener->accept()
      .then([this](kj::Own<kj::AsyncIoStream> stream) { Admit(kj::mv(stream)); })
      .catch_([this](kj::Exception&& exception) {
        m_options.log(std::string("cannot accept a console: ") + exception.getDescription().cStr());
        return m_io.provider->getTimer().afterDelay(AcceptPause);  // descriptors may become free
      })
      .then([this] { return Accept(); });
}

void EngineServer::Admit(kj::Own<kj::AsyncIoStream> stream) {
  if (m_connections >= m_options.maxConnections)
    return m_options.log("too many consoles: connection refused");
  const auto peer = platform::PeerOf(KJ_ASSERT_NONNULL(stream->getFd()));
  const auto name = platform::NameOf(peer);
  if (!m_options.mayConnect(peer, m_options.group))
    return m_options.log("connection of " + name + " refused");
  auto connection = kj::heap<Connection>(*this, kj::mv(stream), name);
  auto run = connection->Run();
  m_tasks.add(run.attach(kj::mv(connection)));
}

void EngineServer::taskFailed(kj::Exception&& exception) {
  if (exception.getType() == kj::Exception::Type::DISCONNECTED) return;  // a console has exited
  m_options.log(std::string("connection of a console dropped: ") + exception.getDescription().cStr());
}

}  // namespace norvane::link
