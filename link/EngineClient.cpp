#include "link/EngineClient.h"

#include <thread>

#include "console/engine/EngineError.h"
#include "link/ClientItem.h"
#include "link/ClientObjects.h"
#include "link/Link.h"
#include "platform/FileLock.h"
#include "platform/FileNames.h"

namespace norvane::link {

namespace ce = console::engine;

namespace {
using namespace std::chrono_literals;

/// The connection ends a moment before the process.
void AwaitFreeFolder(const std::string& folder) {
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!platform::FileLock::TryLock(platform::PathIn(folder, platform::files::EngineLock))) {
    if (std::chrono::steady_clock::now() > deadline)
      throw ce::EngineError(ce::EngineErrorCode::TimedOut,
                            "the engine has saved and closed its socket but does not end");
    std::this_thread::sleep_for(20ms);
  }
}
}  // namespace

EngineClient::EngineClient(LinkOptions options) : m_link(std::make_shared<Link>(std::move(options))) {}
EngineClient::~EngineClient() = default;

std::shared_ptr<ce::ServiceConfig> EngineClient::NewServiceConfig() {
  return std::make_shared<ClientConfig>(m_link);
}
std::shared_ptr<ce::ControlGate> EngineClient::NewControlGate() {
  return std::make_shared<ClientGate>(m_link);
}
std::shared_ptr<ce::ServiceRef> EngineClient::NewServiceRef() {
  return std::make_shared<ClientRef>(m_link);
}
std::shared_ptr<ce::MonitorList> EngineClient::NewMonitorList() {
  return std::make_shared<ClientList>(m_link);
}

EngineInfo EngineClient::Info() {
  return m_link->ConnectedInfo();
}
MonitorSnapshot EngineClient::Snapshot() {
  return m_link->ConnectedMirror().All();
}

std::uint64_t EngineClient::WaitForUpdate(std::uint64_t seen, std::chrono::milliseconds time) {
  return m_link->ConnectedMirror().WaitForUpdate(seen, time);
}

EngineClient::Outcome EngineClient::Check(std::string_view fullName) {
  return CheckMonitor(*m_link, m_link->ConnectedMirror().IdOf(fullName));
}

EngineClient::Outcome EngineClient::Notify(std::string_view fullName) {
  return NotifyOf(*m_link, m_link->ConnectedMirror().IdOf(fullName));
}

void EngineClient::Shutdown() {
  m_link->CheckConnected();
  const auto& options = m_link->Options();
  try {
    m_link->Call(options.callTimeout,
                 [](wire::Session::Client& session) { return session.shutdownRequest(); });
    m_link->WaitUntilGone(options.storeTimeout);
  } catch (const ce::EngineError& error) {
    if (error.Code() != ce::EngineErrorCode::Gone) throw;  // it ended faster than its answer came
  }
  AwaitFreeFolder(options.folder);
}

}  // namespace norvane::link
