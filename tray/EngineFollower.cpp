#include "tray/EngineFollower.h"

#include <condition_variable>
#include <mutex>
#include <utility>

#include "console/engine/EngineError.h"
#include "link/EngineClient.h"

namespace norvane::tray {

namespace ce = console::engine;

EngineFollower::EngineFollower(std::string folder, std::chrono::milliseconds period, Show show)
    : m_folder(std::move(folder)),
      m_period(period),
      m_show(std::move(show)),
      m_thread([this](const std::stop_token& stop) { Run(stop); }) {}

EngineFollower::~EngineFollower() = default;

void EngineFollower::Run(const std::stop_token& stop) {
  OutageWatch watch;
  std::mutex mutex;
  std::condition_variable_any pause;
  std::unique_lock lock(mutex);
  do {
    m_show(watch.Update(Ask()));
  } while (!pause.wait_for(lock, stop, m_period, [&stop] { return stop.stop_requested(); }));
  m_engine.reset();
}

EngineView EngineFollower::Ask() {
  try {
    if (!m_engine) {
      link::LinkOptions options;
      options.folder = m_folder;
      m_engine = std::make_unique<link::EngineClient>(options);
    }
    const auto status = m_engine->QueryStatus()->Reply();
    if (!status.stalled.empty()) return {.problem = "the engine is stalled: " + status.stalled};
    auto outages = m_engine->OpenOutages();
    return {.monitors = m_engine->Snapshot(), .outages = std::move(outages)};
  } catch (const ce::EngineError& error) {
    if (error.Code() != ce::EngineErrorCode::TimedOut)
      m_engine.reset();  // a lost connection is lost for good
    return {.problem = error.what()};
  } catch (const std::exception& error) {
    m_engine.reset();
    return {.problem = error.what()};
  }
}

}  // namespace norvane::tray
