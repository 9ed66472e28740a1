// Any bytes as what a console says to the engine, from its first message until it hangs up. The service, the
// server and its socket are real, the checks are scripted. The gate stays shut, since nobody guesses the
// control pass: an input can read files, but it can write, send and launch nothing.

#include <kj/async-io.h>

#include "link/EngineServer.h"
#include "link/Wire.h"
#include "loopback/TempFolder.h"
#include "tests/fuzz/Fuzzer.h"
#include "tests/support/ScriptedChecks.h"

namespace {

using namespace norvane;

struct PassOverDisconnect {
  void operator()(kj::Exception&& exception) const {
    tests::Require(exception.getType() == kj::Exception::Type::DISCONNECTED);
  }
};

/// One for all inputs: making it costs a hundred times what an input does.
class Engine {
 public:
  /// Hangs up behind the bytes and waits until the engine has done so, too.
  void Hear(kj::ArrayPtr<const kj::byte> bytes) {
    auto console = Connect();
    auto said = console->write(bytes.begin(), bytes.size()).then([&] { console->shutdownWrite(); });
    // It may hang up before it has heard all.
    auto answers = console->readAllBytes().ignoreResult().catch_(PassOverDisconnect{});
    answers
        .exclusiveJoin(
            said.catch_(PassOverDisconnect{}).then([]() -> kj::Promise<void> { return kj::NEVER_DONE; }))
        .wait(m_io.waitScope);
  }
  [[nodiscard]] std::size_t Monitors() const { return m_service.Table().Count(); }

 private:
  kj::Own<kj::AsyncIoStream> Connect() {
    const auto address = link::SocketAddress(m_folder.Path());
    return m_io.provider->getNetwork().getSockaddr(&address, sizeof address)->connect().wait(m_io.waitScope);
  }
  [[nodiscard]] link::EngineServer::Options Options() const {
    link::EngineServer::Options options;
    options.folder = m_folder.Path();
    options.onShutdown = [] { tests::Require(false); };  // behind the gate
    return options;
  }

  loopback::TempFolder m_folder;
  kj::AsyncIoContext m_io = kj::setupAsyncIo();
  engine::Service m_service{{m_folder.Path(), [](auto& wake, const auto&) {
                               return std::make_unique<tests::ScriptedChecks>(wake);
                             }}};
  link::EngineServer m_server{m_io, m_service, Options()};
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Engine engine;
  engine.Hear(kj::arrayPtr(data, size));
  tests::Require(engine.Monitors() == 0);
  return 0;
}
