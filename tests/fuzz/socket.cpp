// Any bytes as what a console says to the engine, from its first message until it hangs up. The service, the
// server and its socket are real, the checks are scripted. Nobody guesses the control pass; an input that has
// as many "P" as it is long gets it in their place, so that it may open the gate, and for eight "M" the id of
// a monitor. Then it has no path to another folder, lest it writes there.

#include <kj/async-io.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "console/engine/MonitorKeys.h"
#include "link/EngineServer.h"
#include "link/Wire.h"
#include "loopback/TempFolder.h"
#include "platform/FileNames.h"
#include "platform/UnixSocket.h"
#include "tests/fuzz/Fuzzer.h"
#include "tests/support/FakeWorker.h"

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
  /// Puts the control pass, and the id of a monitor that there is then, into their places, and takes all
  /// paths away. False without a place for the pass.
  bool Complete(std::string& input) {
    const auto pass = m_service.ConfigValue(console::engine::service::ControlPass);
    if (!Replace(input, std::string(pass.size(), 'P'), pass)) return false;
    std::replace_if(
        input.begin(), input.end(), [](char c) { return c == '/' || c == '\\'; }, '_');
    const auto id = m_service.Add("WebMonitor Of a");
    Replace(input, std::string(sizeof id, 'M'), {reinterpret_cast<const char*>(&id), sizeof id});
    return true;
  }
  [[nodiscard]] std::size_t Monitors() const { return m_service.Table().Count(); }
  /// As it was at first.
  void Clear() {
    while (Monitors() > 0)
      m_service.Remove(m_service.Table().All().begin()->first);
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path()))
      if (!entry.path().filename().string().starts_with("NorvaneEngine."))
        std::filesystem::remove_all(entry.path());
  }

 private:
  static bool Replace(std::string& text, const std::string& place, const std::string& by) {
    const auto at = text.find(place);
    if (at != std::string::npos) text.replace(at, place.size(), by);
    return at != std::string::npos;
  }
  kj::Own<kj::AsyncIoStream> Connect() {
    const platform::UnixAddress address(platform::PathIn(m_folder.Path(), platform::files::EngineSocket));
    return m_io.provider->getNetwork()
        .getSockaddr(address.Get(), address.Size())
        ->connect()
        .wait(m_io.waitScope);
  }
  [[nodiscard]] link::EngineServer::Options Options() const {
    link::EngineServer::Options options;
    options.folder = m_folder.Path();
    options.onShutdown = [] {};
    return options;
  }

  loopback::TempFolder m_folder;
  kj::AsyncIoContext m_io = kj::setupAsyncIo();
  engine::Service m_service{
      {m_folder.Path(), [](auto& wake, const auto&) { return std::make_unique<tests::FakeWorker>(wake); }}};
  link::EngineServer m_server{m_io, m_service, Options()};
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Engine engine;
  std::string input(reinterpret_cast<const char*>(data), size);
  const bool isOpen = engine.Complete(input);
  engine.Hear(kj::arrayPtr(input.data(), input.size()).asBytes());
  tests::Require(isOpen || engine.Monitors() == 0);
  if (isOpen) engine.Clear();
  return 0;
}
