#include "engine/notify/Events.h"

#include <initializer_list>
#include <utility>

#include "engine/model/FullName.h"
#include "engine/notify/MemberText.h"
#include "engine/notify/MessageSender.h"
#include "platform/Ascii.h"
#include "platform/JsonText.h"
#include "platform/Paths.h"
#include "platform/RandomText.h"
#include "platform/TimeText.h"

namespace norvane::engine {

namespace {

constexpr std::size_t IdentitySize = 8;
constexpr std::string_view Begins = "outage_begins", Ends = "outage_ends";

std::string Members(std::initializer_list<std::pair<std::string_view, std::string_view>> texts) {
  std::string members;
  for (const auto& [name, text] : texts)
    members += "," + platform::JsonText(name) + ":" + MemberText(text);
  return members;
}

std::string MembersOf(const OutageRecord& record, const Events::Subject& subject) {
  return Members({{"outage", record.identity},
                  {"monitor", subject.monitor},
                  {"type", TypeNameOf(subject.monitor)},
                  {"target", subject.target},
                  {"reason", subject.reason}}) +
         ",\"failures\":" + std::to_string(record.failures);
}

/// The same for each try, and fit for a line of a header.
std::string IdentityOf(std::string_view outage, std::string_view event, std::string_view exit) {
  auto identity = std::string(outage) + (event == Begins ? "-b-" : "-e-");
  for (const char c : exit.substr(exit.find(' ') + 1))
    identity += platform::IsAsciiAlnum(c) ? std::string(1, c)
                                          : "%" + platform::HexText(static_cast<unsigned char>(c));
  return identity;
}

}  // namespace

void Events::OutageBegins(const OutageRecord& record, const Subject& subject) {
  for (const auto& [exit, webhook] : m_webhooks) {
    if (webhook.begins)
      m_sender.Owe(IdentityOf(record.identity, Begins, exit), {.kind = OwedMessage::Kind::Event,
                                                               .monitor = subject.monitor,
                                                               .exit = exit,
                                                               .message = std::string(Begins),
                                                               .body = MembersOf(record, subject),
                                                               .failingSince = record.since});
  }
}

void Events::OutageEnds(const OutageRecord& record, const Subject& subject, OwedMessage::Time at,
                        bool isSilent) {
  for (const auto& [exit, webhook] : m_webhooks) {
    const auto beginning = IdentityOf(record.identity, Begins, exit);
    if (m_sender.Owes(beginning)) {
      if (!isSilent || !m_sender.DropWaiting(beginning, "the outage is over"))
        m_sender.OutageEnded(beginning, at);
    } else if (webhook.ends && (webhook.begins || !isSilent)) {
      m_sender.Owe(IdentityOf(record.identity, Ends, exit), {.kind = OwedMessage::Kind::Event,
                                                             .monitor = subject.monitor,
                                                             .exit = exit,
                                                             .message = std::string(Ends),
                                                             .body = MembersOf(record, subject),
                                                             .failingSince = record.since,
                                                             .endedAt = at});
    }
  }
}

void Events::Accepted(const std::string& identity, const OwedMessage& message) {
  const auto webhook = m_webhooks.find(message.exit);
  if (message.message != Begins || message.endedAt == OwedMessage::Time() || webhook == m_webhooks.end() ||
      !webhook->second.ends)
    return;
  auto end = message;
  end.message = Ends;
  end.tries = 0;
  end.nextTry = {};
  end.reason.clear();
  m_sender.Owe(IdentityOf(identity.substr(0, identity.find('-')), Ends, message.exit), std::move(end));
}

void Events::ConditionChanged(const Health::Condition& condition, Health::Change change) {
  if (change == Health::Change::Recurs) return;
  const bool isOver = change == Health::Change::Ends;
  for (const auto& [exit, webhook] : m_webhooks) {
    if (!webhook.conditions) continue;
    m_sender.Owe(platform::RandomText(IdentitySize) + "-h",
                 {.kind = OwedMessage::Kind::Event,
                  .exit = exit,
                  .message = isOver ? "condition_ends" : "condition_begins",
                  .body = Members({{"condition", condition.text}}),
                  .failingSince = condition.since,
                  .endedAt = isOver ? std::chrono::system_clock::now() : OwedMessage::Time()});
  }
}

NotifyRequest EventRequest(const WebhookSettings& webhook, const std::string& identity,
                           const OwedMessage& message) {
  const bool isOver = message.message.ends_with("_ends");
  NotifyRequest request;
  request.to = message.exit;
  request.body = "{\"version\":1" +
                 Members({{"event", message.message},
                          {"id", identity},
                          {"host", platform::ComputerName()},
                          {"since", platform::TimeText(message.failingSince)}}) +
                 (isOver ? Members({{"ended", platform::TimeText(message.endedAt)}}) : "") + message.body +
                 "}\n";
  request.identity = identity;
  request.url = webhook.url;
  request.headerFile = webhook.headerFile;
  return request;
}

}  // namespace norvane::engine
