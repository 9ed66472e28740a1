#include "engine/Exits.h"

#include <utility>

#include "console/engine/MonitorKeys.h"
#include "engine/net/Reason.h"
#include "engine/outages/Outages.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

Exits::Exits(Options options, Parts parts)
    : m_parts(std::move(parts)),
      m_events(std::move(options.webhooks), m_parts.sender),
      m_alerts(options.alertmanagers, options.giveUp,
               {m_parts.runner, m_parts.newTicket, [this] { return m_parts.outages.Open(); },
                [this](const auto& monitor) { return AlertOf(monitor); }, m_parts.change, m_parts.log,
                m_parts.clock}) {}

bool Exits::Restore(const std::string& identity, const OwedMessage& message, OwedMessages& toSend) {
  if (m_events.IsWebhook(message.exit))
    toSend.emplace(identity, message);
  else if (message.exit == AlertFeed::Exit && m_alerts.IsActive())
    m_alerts.Restore(identity, message);
  else
    return false;
  return true;
}

void Exits::OutageBegins(const std::string& monitor, const OutageRecord& record) {
  m_events.OutageBegins(record, SubjectOf(monitor));
  m_alerts.OutageBegins(monitor);
}

void Exits::OutageEnds(const std::string& monitor, const OutageRecord& record, OwedMessage::Time at,
                       bool isSilent) {
  const auto subject = SubjectOf(monitor);
  m_events.OutageEnds(record, subject, at, isSilent);
  m_alerts.OutageEnds(record.identity, monitor, {record.since, subject.target, subject.reason, isSilent}, at);
}

Events::Subject Exits::SubjectOf(const std::string& monitor) const {
  const Monitor* found = m_parts.table().Find(monitor);
  if (found == nullptr) return {monitor, {}, {}};
  const auto& attributes = *found->attributes;
  return {monitor, WithoutPassword(attributes.Get(keys::Parameter)), attributes.Get(keys::Result)};
}

std::optional<AlertFeed::Alert> Exits::AlertOf(const std::string& monitor) const {
  const Monitor* found = m_parts.table().Find(monitor);
  const auto* record = found == nullptr ? nullptr : m_parts.outages.FindOpen(found->id);
  if (record == nullptr) return std::nullopt;
  auto subject = SubjectOf(monitor);
  return AlertFeed::Alert{record->since, std::move(subject.target), std::move(subject.reason),
                          m_parts.isHeld(monitor)};
}

}  // namespace norvane::engine
