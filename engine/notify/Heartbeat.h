#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "engine/model/Health.h"
#include "engine/model/Reports.h"
#include "engine/model/Worker.h"

namespace norvane::engine {

/// Calls a URL as long as the engine does its work, so that somebody else notices when it no longer does. On
/// the service thread.
class Heartbeat {
 public:
  /// How long a beat waits for what is wrong to pass before it counts as missed.
  static constexpr std::chrono::seconds Patience{10};
  static constexpr std::chrono::minutes MaxFirst{1};

  struct Hooks {
    ActionRunner& runner;
    std::function<std::uint64_t()> newTicket;
    Health& health;
    Health::Clock clock;
  };

  /// Nothing is called without a URL.
  Heartbeat(const std::string& url, std::chrono::seconds period, Hooks hooks);

  /// The answer of the former URL doesn't count if this is another one.
  void Configure(const std::string& url, std::chrono::seconds period);
  /// To be called about once a second. `problem` says why the engine doesn't do its work; empty if it does.
  void OnSecond(const std::function<std::string()>& problem);
  /// False if it is none of these.
  [[nodiscard]] bool Receive(const NotificationEnded& report);

 private:
  std::string m_url;
  std::chrono::seconds m_period{};
  Hooks m_hooks;
  Health::Moment m_next{};
  std::uint64_t m_ticket = 0;  // 0: nothing is in flight
};

}  // namespace norvane::engine
