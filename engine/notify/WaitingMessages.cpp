// What else changes for the messages of MessageSender while they wait.

#include <algorithm>
#include <ranges>
#include <utility>

#include "engine/notify/MessageSender.h"

namespace norvane::engine {

std::set<std::string_view> MessageSender::MessagesInFlight() const {
  std::set<std::string_view> identities;
  for (const auto& [ticket, sent] : m_inFlight)
    for (const auto& [identity, end] : sent.ends)
      identities.insert(identity);
  return identities;
}

void MessageSender::MakeWayFor(const OwedMessage& next) {
  const auto [first, last] = m_byMonitor.equal_range(next.monitor);
  if (first == last || !next.exit.empty()) return;
  std::vector<std::string> overtaken;
  std::map<Place, std::string> waiting;
  for (const auto& [monitor, identity] : std::ranges::subrange(first, last)) {
    const auto& entry = m_messages.at(identity);
    const auto shipment = m_shipments.find(entry.shipment);
    if (!entry.message.exit.empty() || entry.message.kind == OwedMessage::Kind::Admin) continue;
    if (entry.message.kind == OwedMessage::Kind::Recovery && next.kind == OwedMessage::Kind::Failure)
      overtaken.push_back(identity);
    else if (shipment != m_shipments.end())
      waiting.emplace(shipment->second.place, entry.shipment);
  }
  for (const auto& identity : overtaken)
    static_cast<void>(DropWaiting(identity, "the monitor fails again"));
  for (const auto& [place, identity] : waiting) {
    auto& shipment = m_shipments.at(identity);
    auto moved = m_queues.at(shipment.queue).waiting.extract(place);
    if (moved.empty()) continue;  // it is in flight, or held
    moved.key() = shipment.place = {Fresh, ++m_lastNumber};
    m_queues.at(shipment.queue).waiting.insert(std::move(moved));
  }
}

void MessageSender::Revise(const std::function<std::string(OwedMessage&)>& revise) {
  const auto inFlight = MessagesInFlight();
  std::map<std::string, std::string> dropped;
  std::vector<std::string> redirected;
  for (auto& [identity, entry] : m_messages) {
    if (inFlight.contains(identity)) continue;
    const auto before = std::pair(entry.message.mode, entry.message.to);
    if (auto why = revise(entry.message); !why.empty())
      dropped.emplace(identity, std::move(why));
    else if (before != std::pair(entry.message.mode, entry.message.to))
      redirected.push_back(identity);
  }
  for (const auto& [identity, why] : dropped)
    Drop({identity}, why);
  for (const auto& identity : redirected)
    Redirect(identity);
}

void MessageSender::Redirect(const std::string& identity) {
  auto& entry = m_messages.at(identity);
  auto& message = entry.message;
  LeaveShipment(identity, entry.shipment);
  message.tries = 0;
  message.nextTry = {};
  message.reason.clear();
  message.digest.clear();
  message.left.clear();
  m_changes[identity] = message;
  m_hooks.log(message, "notification goes to the monitor's changed address");
  Enqueue(identity, {identity}, Fresh);
}

}  // namespace norvane::engine
