#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "tray/OutageWatch.h"

namespace norvane::link {
class EngineClient;
}

namespace norvane::tray {

/// Asks the engine of an application folder periodically, in a thread of its own. Starts no engine; connects
/// again when one is back.
class EngineFollower {
 public:
  /// Called on the follower's thread, after each time the engine was asked.
  using Show = std::function<void(const TrayUpdate&)>;

  EngineFollower(std::string folder, std::chrono::milliseconds period, Show show);
  /// Waits for a call that is pending, up to its time-out.
  ~EngineFollower();

 private:
  void Run(const std::stop_token& stop);
  [[nodiscard]] EngineView Ask();

  const std::string m_folder;
  const std::chrono::milliseconds m_period;
  const Show m_show;
  std::unique_ptr<link::EngineClient> m_engine;
  std::jthread m_thread;
};

}  // namespace norvane::tray
