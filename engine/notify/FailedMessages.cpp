// What a failure delays, and whom it does not, for the messages of MessageSender.

#include <algorithm>
#include <utility>

#include "engine/net/Reason.h"
#include "engine/notify/MessageQueue.h"
#include "engine/notify/MessageSender.h"
#include "engine/notify/MessageText.h"

namespace norvane::engine {

using std::chrono::duration_cast;
using std::chrono::seconds;
using std::chrono::system_clock;

namespace {

Moment::duration RetryAfterOf(const NotificationEnded& report) {
  return std::min<Moment::duration>(report.retryAfter, MessageSender::MaxRetryAfter);
}

}  // namespace

void MessageSender::Fail(Shipment shipment, const InFlight& sent, Queue& queue,
                         const NotificationEnded& report) {
  using Blame = SendFailure::Blame;
  const auto blame = report.failure.blame;
  NoteServer(queue, shipment.place.due == Fresh, report);
  queue.problem = ProblemOf(queue);
  if (shipment.messages.empty()) return;  // all were dropped
  if (blame == Blame::Message && shipment.messages.size() > 1) return Split(shipment.messages);
  if (!report.failure.left.empty()) {
    for (const auto& identity : shipment.messages)
      m_messages.at(identity).message.left = report.failure.left;
    shipment.address = AddressOf(m_messages.at(shipment.messages.front()).message);
  }
  const auto pause = PauseAfter(report, shipment, queue);
  for (const auto& identity : shipment.messages) {
    auto& entry = m_messages.at(identity);
    NoteFailure(entry, queue, report, pause);
    m_changes[identity] = entry.message;
  }
  shipment.place = {m_hooks.clock() + pause, ++m_lastNumber};
  shipment.blame = blame;
  if (blame == Blame::Recipient) RefusedBy(queue, shipment);
  queue.waiting.emplace(shipment.place, sent.shipment);
  m_shipments.emplace(sent.shipment, std::move(shipment));
  LogAndGiveUp(queue);
}

/// What the failure says of the server: one that refuses an address or a message serves others.
void MessageSender::NoteServer(Queue& queue, bool wasFresh, const NotificationEnded& report) {
  const auto now = m_hooks.clock();
  if (report.failure.blame == SendFailure::Blame::Server) {
    auto& pace = wasFresh ? queue.fresh : queue.failed;
    pace.next = ++pace.failures > 1 ? now + m_pause.After(pace.failures - 1) : now;
    queue.reason = report.result.reason;
  } else {
    queue.fresh = queue.failed = {};
    queue.reason.clear();
  }
  if (const auto asked = RetryAfterOf(report); asked > asked.zero())
    queue.fresh.next = queue.failed.next = now + asked;
}

void MessageSender::NoteFailure(Entry& entry, Queue& queue, const NotificationEnded& report,
                                Moment::duration pause) {
  auto& message = entry.message;
  ++message.tries;
  message.unanswered += report.failure.mayHaveArrived ? 1 : 0;
  message.reason = report.result.reason;
  message.nextTry = system_clock::now() + duration_cast<system_clock::duration>(pause);
  m_hooks.failed(message);
  if (message.kind == OwedMessage::Kind::Admin) return;
  queue.problem = NameOf(message) + " failed: " + message.reason;
  const bool isOpen = report.failure.mayHaveArrived;
  LogFailure(entry, (isOpen ? "notification perhaps sent: " : "notification failed: ") + message.reason);
}

/// Whatever is wrong with one of its messages shall not keep the others back. None was accepted, so none
/// can arrive twice.
void MessageSender::Split(const std::vector<std::string>& refused) {
  const auto middle = refused.begin() + static_cast<std::ptrdiff_t>(refused.size() / 2);
  CloseDigest({refused.begin(), middle});
  CloseDigest({middle, refused.end()});
}

/// Of the first message that failed, unless only since the server did not serve, and now it does.
std::string MessageSender::ProblemOf(const Queue& queue) const {
  for (auto each = queue.waiting.upper_bound({Fresh, NotAsked}); each != queue.waiting.end(); ++each) {
    const auto& shipment = m_shipments.at(each->second);
    if (shipment.blame == SendFailure::Blame::Server && queue.reason.empty()) continue;
    const auto& message = m_messages.at(shipment.messages.front()).message;
    if (message.tries > 0 && message.kind != OwedMessage::Kind::Admin)
      return NameOf(message) + " failed: " + message.reason;
  }
  return {};
}

Moment::duration MessageSender::PauseAfter(const NotificationEnded& report, const Shipment& failed,
                                           Queue& queue) {
  using Blame = SendFailure::Blame;
  const auto blame = report.failure.blame;
  const auto& first = m_messages.at(failed.messages.front()).message;
  const int tries = first.tries + 1;
  if (const auto asked = RetryAfterOf(report); asked > asked.zero())
    return std::max<Moment::duration>(asked, FirstPause);
  if (report.failure.mayHaveArrived && first.unanswered > 0)
    return m_pause.After(first.unanswered, FirstLongPause, MaxLongPause);
  if (blame == Blame::Message) return m_pause.After(tries, FirstPause, MaxLongPause);
  if (blame == Blame::Server) return m_pause.After(tries);
  auto& address = queue.addresses[failed.address];
  address.reason = report.result.reason;
  return m_pause.After(++address.failures);
}

/// Others to the same address wait as long, and come first then.
void MessageSender::RefusedBy(Queue& queue, const Shipment& failed) {
  Reschedule(queue, failed.address, [&](Shipment& shipment) {
    if (shipment.place.due >= failed.place.due) return;
    shipment.place.due = failed.place.due;
    shipment.blame = SendFailure::Blame::Recipient;
  });
}

void MessageSender::AcceptedBy(Queue& queue, const std::string& address) {
  if (queue.addresses.erase(address) == 0) return;
  Reschedule(queue, address, [now = m_hooks.clock()](Shipment& shipment) {
    if (shipment.blame != SendFailure::Blame::Recipient) return;
    shipment.blame = SendFailure::Blame::Server;
    shipment.place.due = std::min(shipment.place.due, now);
  });
}

void MessageSender::Reschedule(Queue& queue, const std::string& address,
                               const std::function<void(Shipment&)>& change) {
  for (const auto& [place, identity] : std::map(queue.waiting)) {
    auto& shipment = m_shipments.at(identity);
    if (shipment.address != address) continue;
    change(shipment);
    if (shipment.place == place) continue;
    queue.waiting.erase(place);
    queue.waiting.emplace(shipment.place, identity);
  }
}

/// Why the message waits; empty if only for its turn.
std::string MessageSender::ReasonOf(const Entry& entry) const {
  if (!entry.message.reason.empty()) return entry.message.reason;
  const auto shipment = m_shipments.find(entry.shipment);
  if (shipment == m_shipments.end()) return {};
  const auto& queue = m_queues.at(shipment->second.queue);
  const auto address = queue.addresses.find(shipment->second.address);
  const bool waitsForAddress = shipment->second.blame == SendFailure::Blame::Recipient;
  if (waitsForAddress && address != queue.addresses.end()) return address->second.reason;
  return queue.IsPaused() ? queue.reason : std::string();
}

/// What has waited for too long, in vain.
void MessageSender::LogAndGiveUp(Queue& queue) {
  const auto now = m_hooks.clock();
  std::vector<std::string> old;
  for (const auto& [place, identity] : queue.waiting) {
    for (const auto& each : m_shipments.at(identity).messages) {
      auto& entry = m_messages.at(each);
      const auto reason = ReasonOf(entry);
      if (reason.empty()) continue;
      if (now >= entry.giveUpAt)
        old.push_back(each);
      else if (entry.message.tries == 0 && !entry.message.monitor.empty())
        LogFailure(entry, "notification waits: " + reason);
    }
  }
  for (const auto& identity : old) {
    const auto& entry = m_messages.at(identity);
    const auto reason = ReasonOf(entry);
    const auto time = SecondsText(duration_cast<seconds>(system_clock::now() - entry.message.since));
    m_hooks.log(entry.message, "notification given up after " + time + ": " + reason);
    Remove(identity, {End::GivenUp, reason, entry.message.left.empty()});
  }
}

void MessageSender::LogFailure(Entry& entry, const std::string& text) {
  const auto now = m_hooks.clock();
  if (now < entry.logAgain) return;
  entry.logAgain = now + LogPause;
  m_hooks.log(entry.message, text);
}

}  // namespace norvane::engine
