#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "engine/model/OwedMessage.h"
#include "engine/model/Reports.h"
#include "engine/model/Worker.h"
#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// Tells each Alertmanager of open outages, again and again as long as they last, and of their ends. An end
/// is an owed message until all instances have accepted it; that an outage is open stands on disk anyway. An
/// alert of which an instance hears nothing more ends there by itself. On the service thread.
class AlertFeed {
 public:
  static constexpr std::string_view Exit = "alertmanager";
  static constexpr std::chrono::seconds Period{30};
  static constexpr std::chrono::minutes Lifetime{4};  ///< of an alert that is not repeated
  static constexpr std::chrono::seconds FirstPause{5};
  static constexpr std::size_t MaxBatch = 500;

  struct Alert {
    OwedMessage::Time since{};
    std::string target{}, reason{};
    bool isHeld = false;  ///< not to be told, unless it has been
  };
  struct Hooks {
    ActionRunner& runner;
    std::function<std::uint64_t()> newTicket;
    /// Full names of the monitors with an open outage.
    std::function<std::vector<std::string>()> open;
    /// Of a monitor's open outage, if it has one.
    std::function<std::optional<Alert>(const std::string& monitor)> alertOf;
    std::function<void(const std::string& identity, std::optional<OwedMessage>)> change;
    /// Into the log of the message's monitor.
    std::function<void(const OwedMessage&, const std::string& text)> log;
    EventLoop::Clock clock;
  };

  /// `urls` of the instances; none: there is nothing to do.
  AlertFeed(const std::vector<std::string>& urls, std::chrono::seconds giveUp, Hooks hooks);

  /// Instances that are named again go on as they are; one that no longer is need not accept any end.
  void Configure(const std::vector<std::string>& urls, std::chrono::seconds giveUp);

  [[nodiscard]] bool IsActive() const { return !m_instances.empty(); }
  /// An end that an earlier engine owed.
  void Restore(const std::string& identity, OwedMessage message);
  void OutageBegins(const std::string& monitor);
  /// `alert` as it was.
  void OutageEnds(const std::string& outage, const std::string& monitor, const Alert& alert,
                  OwedMessage::Time at);
  /// False if it is none of these.
  [[nodiscard]] bool Receive(const NotificationEnded& report);
  /// Sends what is due. To be called once a second.
  void OnSecond();

  /// Ends that some instance has not accepted yet.
  [[nodiscard]] OwedMessages Owed() const;
  std::size_t Drop(const std::function<bool(const OwedMessage&)>& isMeant, const std::string& why);
  /// Which instance accepts nothing; empty if none.
  [[nodiscard]] std::string Problem() const;

 private:
  struct Resolve {
    std::string identity;
    OwedMessage message;
    std::set<std::size_t> missing;  // instances that have not accepted it
  };
  struct Instance {
    std::string url;
    std::set<std::string> due{};  // monitors
    Moment nextRound{}, nextTry{};
    std::uint64_t ticket = 0;           // 0: nothing is in flight
    std::vector<std::string> batch{};   // in flight
    std::set<std::string> resolving{};  // identities of the ends in it
    int failures = 0;
    std::string reason{};
  };

  void Insert(const std::string& identity, OwedMessage message);
  void Remove(const std::string& monitor);
  void SendDue(std::size_t number);
  void EndRequest(std::size_t number, const NotificationEnded& report);
  [[nodiscard]] std::string ObjectOf(const std::string& monitor, std::size_t number);

  std::chrono::seconds m_giveUp;
  Hooks m_hooks;
  std::vector<Instance> m_instances;
  std::map<std::string, Resolve, std::less<>> m_resolves;  // by monitor
  std::set<std::string, std::less<>> m_told;               // monitors whose alert was sent
};

}  // namespace norvane::engine
