#pragma once

#include <string>
#include <string_view>

#include "engine/model/Health.h"
#include "engine/model/OutageRecord.h"
#include "engine/model/OwedMessage.h"
#include "engine/model/Requests.h"
#include "engine/notify/ExitSettings.h"

namespace norvane::engine {

class MessageSender;

/// What the webhooks of config.ini are sent: an owed message for each event and webhook, with members of a
/// JSON object as its body. The end of an outage is told after its beginning has been accepted, never before.
/// On the service thread.
class Events {
 public:
  /// Of a monitor, as far as an event tells it.
  struct Subject {
    std::string monitor, target, reason;
  };

  Events(Webhooks webhooks, MessageSender& sender) : m_webhooks(std::move(webhooks)), m_sender(sender) {}

  void Configure(const Webhooks& webhooks) { m_webhooks = webhooks; }
  [[nodiscard]] bool IsWebhook(const std::string& exit) const { return m_webhooks.contains(exit); }

  void OutageBegins(const OutageRecord& record, const Subject& subject);
  /// `isSilent`: a webhook that was to be told of the beginning, and wasn't yet, is told of neither.
  void OutageEnds(const OutageRecord& record, const Subject& subject, OwedMessage::Time at, bool isSilent);
  /// One of these was accepted: what had to wait for it is owed.
  void Accepted(const std::string& identity, const OwedMessage& message);
  void ConditionChanged(const Health::Condition& condition, Health::Change change);

 private:
  Webhooks m_webhooks;
  MessageSender& m_sender;
};

/// What a webhook is sent for `message`, which is one of the above.
[[nodiscard]] NotifyRequest EventRequest(const WebhookSettings& webhook, const std::string& identity,
                                         const OwedMessage& message);

}  // namespace norvane::engine
