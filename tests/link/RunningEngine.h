#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "console/engine/EngineError.h"
#include "link/EngineClient.h"
#include "link/EngineServer.h"
#include "loopback/TempFolder.h"
#include "tests/support/FakeWorker.h"

namespace norvane::tests {

/// A real service with scripted checks, served in a folder by a thread of its own.
class RunningEngine {
 public:
  /// `tune` may change what is not given by the folder.
  explicit RunningEngine(std::string folder, std::function<void(link::EngineServer::Options&)> tune = {},
                         engine::EventLoop::Clock clock = &std::chrono::steady_clock::now);
  ~RunningEngine();
  RunningEngine(const RunningEngine&) = delete;
  RunningEngine& operator=(const RunningEngine&) = delete;

  /// Runs `action` on the service thread and waits for it.
  void Do(const std::function<void(engine::Service&, FakeWorker&)>& action);
  [[nodiscard]] std::string ControlPass();
  /// What the server has logged so far.
  [[nodiscard]] std::vector<std::string> Log();
  /// Waits until it has logged a line with this text.
  void AwaitLog(const std::string& text);

 private:
  struct Loop;
  void ThreadMain(std::promise<Loop*> ready);

  std::string m_folder;
  std::function<void(link::EngineServer::Options&)> m_tune;
  engine::EventLoop::Clock m_clock;
  Loop* m_loop = nullptr;  // on the thread's stack
  std::thread m_thread;
};

/// Options of a client of that folder, with time-outs that no test reaches by accident.
[[nodiscard]] link::LinkOptions ClientOptions(const std::string& folder);

/// Tests in a fresh folder, where an engine may run.
class LinkTest : public testing::Test {
 protected:
  void Start(std::function<void(link::EngineServer::Options&)> tune = {}) {
    m_engine.emplace(m_folder.Path(), std::move(tune));
  }

  const loopback::TempFolder m_folder;
  std::optional<RunningEngine> m_engine;
  link::LinkOptions m_options = ClientOptions(m_folder.Path());
};

/// Waits for what another console did; only its own writes does a console see at once.
inline bool Eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace norvane::tests
