#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "engine/model/Health.h"
#include "engine/model/MonitorTable.h"
#include "engine/model/OutageRecord.h"
#include "engine/model/OwedMessage.h"
#include "engine/notify/AlertFeed.h"
#include "engine/notify/Events.h"
#include "engine/notify/MessageSender.h"

namespace norvane::engine {

class Outages;

/// The exits of config.ini, which hear of the outages of all monitors: webhooks by owed messages,
/// Alertmanagers by a feed. On the service thread.
class Exits {
 public:
  struct Options {
    Webhooks webhooks{};
    std::vector<std::string> alertmanagers{};  ///< URLs
    std::chrono::seconds giveUp;
  };
  /// What they use of the service. All of it outlives them.
  struct Parts {
    MessageSender& sender;
    const Outages& outages;
    ActionRunner& runner;
    std::function<std::uint64_t()> newTicket;
    std::function<const MonitorTable&()> table;
    /// Whether messages of a monitor are.
    std::function<bool(std::string_view monitor)> isHeld;
    /// Of what is owed, beside the sender's: to be written.
    std::function<void(const std::string& identity, std::optional<OwedMessage>)> change;
    /// Into the log of the message's monitor.
    std::function<void(const OwedMessage&, const std::string& text)> log;
    EventLoop::Clock clock;
  };

  Exits(Options options, Parts parts);

  /// The sender's messages of webhooks that are no more are the caller's to drop.
  void Configure(const Options& options) {
    m_events.Configure(options.webhooks);
    m_alerts.Configure(options.alertmanagers, options.giveUp);
  }

  /// Goes on with a message of an earlier engine, unless config.ini lacks its exit by now: then false.
  /// `toSend` is for the sender.
  [[nodiscard]] bool Restore(const std::string& identity, const OwedMessage& message, OwedMessages& toSend);

  void OutageBegins(const std::string& monitor, const OutageRecord& record);
  /// `isSilent`: as for `Outages::Hooks::ends`.
  void OutageEnds(const std::string& monitor, const OutageRecord& record, OwedMessage::Time at,
                  bool isSilent);
  void ConditionChanged(const Health::Condition& condition, Health::Change change) {
    m_events.ConditionChanged(condition, change);
  }
  /// An event was accepted.
  void Accepted(const std::string& identity, const OwedMessage& message) {
    m_events.Accepted(identity, message);
  }
  /// False if it is for no Alertmanager.
  [[nodiscard]] bool Receive(const NotificationEnded& report) { return m_alerts.Receive(report); }
  void OnSecond() { m_alerts.OnSecond(); }

  // What is owed beside the sender's messages, as there.
  [[nodiscard]] OwedMessages Owed() const { return m_alerts.Owed(); }
  void Drop(const std::function<bool(const OwedMessage&)>& isMeant, const std::string& why) {
    m_alerts.Drop(isMeant, why);
  }
  [[nodiscard]] std::string Problem() const { return m_alerts.Problem(); }

 private:
  [[nodiscard]] Events::Subject SubjectOf(const std::string& monitor) const;
  [[nodiscard]] std::optional<AlertFeed::Alert> AlertOf(const std::string& monitor) const;

  Parts m_parts;
  Events m_events;
  AlertFeed m_alerts;
};

}  // namespace norvane::engine
