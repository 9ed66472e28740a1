#include "engine/notify/MessageSender.h"

#include <algorithm>
#include <utility>

#include "engine/net/Reason.h"
#include "engine/notify/Events.h"
#include "engine/notify/MessageQueue.h"
#include "engine/notify/MessageText.h"
#include "platform/RandomText.h"

namespace norvane::engine {

using std::chrono::duration_cast;
using std::chrono::seconds;
using std::chrono::system_clock;

namespace {

constexpr std::size_t IdentitySize = 8;

}  // namespace

MessageSender::MessageSender(Options options, Hooks hooks)
    : m_options(std::move(options)),
      m_hooks(std::move(hooks)),
      m_digests(m_options.single, m_hooks.clock),
      m_lastWrite(m_hooks.clock()) {}

void MessageSender::Restore(const OwedMessages& messages, const SingleMails& singles) {
  m_digests.Restore(singles);
  std::map<std::string, std::vector<std::string>> shipments;
  for (const auto& [identity, message] : messages) {
    Insert(identity, message);
    if (message.tries == 0 && message.digest.empty() && !singles.contains(identity) && MayGather(message) &&
        m_digests.Gather(AddressOf(message), identity))
      continue;
    shipments[message.digest.empty() ? identity : message.digest].push_back(identity);
  }
  for (auto& [identity, parts] : shipments) {
    const auto& first = messages.at(parts.front());
    const auto longest = first.exit.empty() ? MaxLongPause : seconds(MaxRetryAfter);
    const auto wait = std::clamp<system_clock::duration>(first.nextTry - system_clock::now(), {}, longest);
    Enqueue(identity, std::move(parts), first.tries == 0 ? Fresh : m_hooks.clock() + wait);
    m_shipments.at(identity).write = 0;
  }
}

void MessageSender::Owe(std::string identity, OwedMessage message) {
  message.since = system_clock::now();
  m_changes[identity] = message;
  MakeWayFor(message);
  Insert(identity, message);
  if (!message.monitor.empty()) m_hooks.log(message, "notification owed");
  if (MayGather(message) && m_digests.Gather(AddressOf(message), identity)) return;
  auto parts = std::vector{identity};
  Enqueue(identity, std::move(parts), Fresh);
}

void MessageSender::Insert(const std::string& identity, OwedMessage message) {
  const auto age =
      std::clamp<system_clock::duration>(system_clock::now() - message.since, {}, m_options.giveUp);
  const bool isKept = message.kind == OwedMessage::Kind::Admin;
  const auto left = std::max<Moment::duration>(m_options.giveUp - age, LeastTime());
  const auto giveUpAt = isKept ? Moment::max() : m_hooks.clock() + left;
  if (!m_messages.contains(identity)) m_byMonitor.emplace(message.monitor, identity);
  m_messages.insert_or_assign(identity, Entry{std::move(message), {}, giveUpAt});
}

void MessageSender::Enqueue(const std::string& identity, std::vector<std::string> messages, Moment due) {
  for (const auto& each : messages)
    m_messages.at(each).shipment = identity;
  const auto& first = m_messages.at(messages.front()).message;
  Shipment shipment{QueueOf(first), AddressOf(first), std::move(messages), {due, ++m_lastNumber}};
  m_queues[shipment.queue].waiting.emplace(shipment.place, identity);
  m_shipments.insert_or_assign(identity, std::move(shipment));
}

void MessageSender::OutageEnded(const std::string& identity, OwedMessage::Time at) {
  const auto entry = m_messages.find(identity);
  if (entry == m_messages.end()) return;
  entry->second.message.endedAt = at;
  m_changes[identity] = entry->second.message;
}

// Digests

void MessageSender::OnSecond() {
  for (auto& [name, queue] : m_queues)
    ReleaseHeld(queue);
  for (auto& identities : m_digests.Close()) {
    std::erase_if(identities, [this](const auto& each) {  // dropped, or redirected
      const auto entry = m_messages.find(each);
      return entry == m_messages.end() || !entry->second.shipment.empty();
    });
    if (!identities.empty()) CloseDigest(identities);
  }
}

/// One that would be too large becomes several.
void MessageSender::CloseDigest(const std::vector<std::string>& identities) {
  std::size_t size = 0;
  for (const auto& identity : identities)
    size += SizeInDigest(m_messages.at(identity).message);
  if (size > MaxDigestSize && identities.size() > 1) return Split(identities);
  const auto digest = platform::RandomText(IdentitySize) + "-d";
  for (const auto& identity : identities) {
    auto& message = m_messages.at(identity).message;
    message.digest = digest;
    m_changes[identity] = message;
  }
  Enqueue(digest, identities, Fresh);
}

// What is on disk

OwedChanges MessageSender::DequeueChanges() {
  return std::exchange(m_changes, {});
}

void MessageSender::Asked(std::uint64_t write) {
  m_asked = write;
  for (auto& [identity, shipment] : m_shipments)
    shipment.write = std::min(shipment.write, write);
  for (auto& [name, queue] : m_queues)
    queue.write = std::min(queue.write, write);
}

bool MessageSender::IsOnDisk(std::uint64_t write) const {
  return write <= m_written || m_hooks.clock() >= m_lastWrite + MaxWriteTime;
}

// Sending

void MessageSender::SendDue(std::uint64_t written) {
  if (written != m_written || written >= m_asked) m_lastWrite = m_hooks.clock();
  m_written = written;
  if (m_isHeld) return;
  for (const bool isFailing : {false, true}) {  // what works comes first
    for (auto& [name, queue] : m_queues)
      if (queue.reason.empty() != isFailing) SendDue(queue);
  }
  std::erase_if(m_queues, [this](const auto& each) {
    return each.second.waiting.empty() && each.second.held.empty() && !each.second.isInFlight &&
           IsOnDisk(each.second.write);
  });
}

void MessageSender::SendDue(Queue& queue) {
  const auto places = queue.reason.empty() ? MaxInFlight : MaxInFlight / 2;
  if (queue.isInFlight || !IsOnDisk(queue.write) || m_inFlight.size() >= places) return;
  for (auto identity = NextOf(queue); !identity.empty(); identity = NextOf(queue)) {
    if (HoldIfNeeded(identity)) continue;
    queue.isInFlight = true;
    queue.waiting.erase(m_shipments.at(identity).place);
    return Send(identity);
  }
}

/// A digest goes without those of its messages that are held, which wait alone from now on. Gives whether it
/// cannot go now.
bool MessageSender::HoldIfNeeded(const std::string& identity) {
  auto& shipment = m_shipments.at(identity);
  std::vector<std::string> held;
  for (const auto& each : shipment.messages)
    if (IsHeld(each)) held.push_back(each);
  if (held.empty()) return false;
  if (held.size() == shipment.messages.size()) {
    auto& queue = m_queues.at(shipment.queue);
    queue.waiting.erase(shipment.place);
    queue.held.insert(identity);
    return true;
  }
  for (const auto& each : held) {
    std::erase(shipment.messages, each);
    auto& message = m_messages.at(each).message;
    message.digest.clear();
    m_changes[each] = message;
    Enqueue(each, {each}, shipment.place.due);
  }
  shipment.write = NotAsked;
  return true;
}

bool MessageSender::IsHeld(const std::string& identity) {
  auto& entry = m_messages.at(identity);
  const auto why = m_hooks.whyHeld(entry.message);
  if (!why.empty() && !entry.isHeld) m_hooks.log(entry.message, "notification held: " + why);
  if (why.empty() && entry.isHeld) entry.giveUpAt = std::max(entry.giveUpAt, m_hooks.clock() + LeastTime());
  entry.isHeld = !why.empty();
  return entry.isHeld;
}

void MessageSender::ReleaseHeld(Queue& queue) {
  std::erase_if(queue.held, [&](const auto& identity) {
    const auto& shipment = m_shipments.at(identity);
    if (std::ranges::all_of(shipment.messages, [&](const auto& each) { return IsHeld(each); })) return false;
    queue.waiting.emplace(shipment.place, identity);
    return true;
  });
}

/// Empty if none is due.
std::string MessageSender::NextOf(const Queue& queue) const {
  const auto now = m_hooks.clock();
  const auto first = queue.waiting.begin();
  if (first == queue.waiting.end()) return {};
  if (first->first.due == Fresh && queue.fresh.next <= now && IsOnDisk(m_shipments.at(first->second).write))
    return first->second;
  const auto failed = queue.waiting.upper_bound({Fresh, NotAsked});
  if (failed == queue.waiting.end() || std::max(failed->first.due, queue.failed.next) > now) return {};
  return failed->second;
}

void MessageSender::Send(const std::string& identity) {
  const auto& parts = m_shipments.at(identity).messages;
  InFlight sending{identity, {}};
  std::vector<const OwedMessage*> messages;
  for (const auto& each : parts) {
    messages.push_back(&m_messages.at(each).message);
    sending.ends[each] = messages.back()->endedAt;
  }
  const bool isDigest = messages.size() > 1;
  const auto ticket = m_hooks.newTicket();
  m_inFlight.emplace(ticket, std::move(sending));
  m_hooks.runner.NotifyOnce(isDigest ? DigestOf(identity, messages) : RequestFor(identity, *messages.front()),
                            ticket);
}

NotifyRequest MessageSender::RequestFor(const std::string& identity, const OwedMessage& message) const {
  const auto webhook = m_options.webhooks.find(message.exit);
  return webhook == m_options.webhooks.end() ? RequestOf(identity, message)
                                             : EventRequest(webhook->second, identity, message);
}

bool MessageSender::Receive(const NotificationEnded& report) {
  const auto sent = m_inFlight.extract(report.ticket);
  if (sent.empty()) return false;
  auto shipment = std::move(m_shipments.extract(sent.mapped().shipment).mapped());
  auto& queue = m_queues.at(shipment.queue);
  queue.isInFlight = false;
  if (report.result.IsGood())
    Accept(shipment, sent.mapped(), queue);
  else
    Fail(std::move(shipment), sent.mapped(), queue, report);
  return true;
}

void MessageSender::Accept(const Shipment& shipment, const InFlight& sent, Queue& queue) {
  queue.fresh = queue.failed = {};
  queue.reason.clear();
  AcceptedBy(queue, shipment.address);
  if (!shipment.messages.empty()) queue.write = NotAsked;
  for (const auto& identity : shipment.messages) {
    const auto& message = m_messages.at(identity).message;
    if (!message.monitor.empty()) m_hooks.log(message, SentText(message, shipment.messages.size()));
    const bool toldEnd = sent.ends.at(identity) == message.endedAt && message.left.empty();
    Remove(identity, {End::Accepted, {}, toldEnd});
  }
  queue.problem = ProblemOf(queue);
}

std::size_t MessageSender::Drop(const std::function<bool(const OwedMessage&)>& isMeant,
                                const std::string& why) {
  std::vector<std::string> dropped;
  for (const auto& [identity, entry] : m_messages)
    if (isMeant(entry.message)) dropped.push_back(identity);
  Drop(dropped, why);
  return dropped.size();
}

void MessageSender::Drop(const std::vector<std::string>& identities, const std::string& why) {
  for (const auto& identity : identities) {
    m_hooks.log(
        m_messages.at(identity).message,
        "notification dropped" + std::string(IsInFlight(identity) ? " while it is sent" : "") + ": " + why);
    Remove(identity, {End::Dropped, why});
  }
}

bool MessageSender::DropWaiting(const std::string& identity, const std::string& why) {
  const auto entry = m_messages.find(identity);
  if (entry == m_messages.end()) return true;
  if (IsInFlight(identity)) return false;
  Drop({identity}, why);
  return true;
}

bool MessageSender::IsInFlight(const std::string& identity) const {
  return std::ranges::any_of(m_inFlight,
                             [&](const auto& each) { return each.second.ends.contains(identity); });
}

/// It is owed no more.
void MessageSender::Remove(const std::string& identity, const Ended& ended) {
  m_changes[identity] = std::nullopt;
  const auto removed = m_messages.extract(identity);
  const auto [first, last] = m_byMonitor.equal_range(removed.mapped().message.monitor);
  m_byMonitor.erase(std::find_if(first, last, [&](const auto& each) { return each.second == identity; }));
  LeaveShipment(identity, removed.mapped().shipment);
  m_hooks.ended(identity, removed.mapped().message, ended);
}

void MessageSender::LeaveShipment(const std::string& message, const std::string& from) {
  const auto found = m_shipments.find(from);
  if (found == m_shipments.end()) return;
  auto& shipment = found->second;
  std::erase(shipment.messages, message);
  shipment.write = NotAsked;  // its message is on disk as part of it
  auto& queue = m_queues.at(shipment.queue);
  // One that is in flight stays until its end.
  if (shipment.messages.empty() && queue.waiting.erase(shipment.place) + queue.held.erase(found->first) > 0)
    m_shipments.erase(found);
  if (!queue.isInFlight) queue.problem = ProblemOf(queue);
}

// For people

OwedMessages MessageSender::All() const {
  OwedMessages all;
  for (const auto& [identity, entry] : m_messages) {
    auto& message = all[identity] = entry.message;
    message.to = RecipientsOf(entry.message);
    message.nextTry = NextTry(entry);
    const auto why = m_hooks.whyHeld(message);
    message.reason = why.empty() ? ReasonOf(entry) : "held: " + why;
  }
  return all;
}

/// The epoch if it goes as soon as its turn comes.
OwedMessage::Time MessageSender::NextTry(const Entry& entry) const {
  const auto shipment = m_shipments.find(entry.shipment);
  if (shipment == m_shipments.end()) return {};
  const auto& queue = m_queues.at(shipment->second.queue);
  const auto due = shipment->second.place.due;
  const auto at = due == Fresh ? queue.fresh.next : std::max(due, queue.failed.next);
  const auto now = m_hooks.clock();
  return at <= now ? OwedMessage::Time()
                   : system_clock::now() + duration_cast<system_clock::duration>(at - now);
}

std::string MessageSender::Problem() const {
  std::string problem;
  std::size_t more = 0;
  for (const auto& [name, queue] : m_queues) {
    if (queue.problem.empty()) continue;
    if (problem.empty())
      problem = queue.problem;
    else
      ++more;
  }
  return problem + (more == 0 ? "" : " (and " + std::to_string(more) + " more)");
}

}  // namespace norvane::engine
