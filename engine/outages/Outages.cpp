#include "engine/outages/Outages.h"

#include <utility>

#include "console/engine/Limits.h"
#include "console/engine/MonitorKeys.h"
#include "engine/model/CheckResult.h"
#include "engine/model/FullName.h"
#include "engine/net/Reason.h"
#include "platform/RandomText.h"
#include "platform/TimeText.h"

namespace norvane::engine {

namespace keys = console::engine::keys;
using Message = OutageRecord::Message;

namespace {

constexpr std::size_t IdentitySize = 8;

std::string Times(int count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// The kernel takes at most 128 KiB for one variable, and a program has no use for control characters.
std::string Variable(const char* name, std::string_view value) {
  constexpr std::size_t maxSize = 4096;
  return std::string(name) + "=" + PlainText(value, maxSize);
}

/// An outage has at most one message of each kind.
std::string FailureOf(const std::string& outage) {
  return outage + "-f";
}
std::string RecoveryOf(const std::string& outage) {
  return outage + "-r";
}

}  // namespace

void Outages::Restore(OutageRecords records, const OwedMessages& owed, const MonitorTable& table,
                      bool keepsUnknown) {
  for (auto& [name, record] : records) {
    if (record.identity.empty()) record.identity = platform::RandomText(IdentitySize);
    if (record.message == Message::Owed && !owed.contains(FailureOf(record.identity)))
      record.message = Message::None;  // rather twice than not at all
  }
  Restore(std::move(records), table, keepsUnknown);
}

void Outages::Restore(OutageRecords records, const MonitorTable& table, bool keepsUnknown) {
  for (auto& [name, record] : records) {
    const Monitor* monitor = table.Find(name);
    if (monitor != nullptr && monitor->Running())
      m_failing.try_emplace(monitor->id, Entry{name, Outage(std::move(record))});
    else if (monitor == nullptr && keepsUnknown)
      m_unknown.emplace(name, std::move(record));
    else {
      NoteEnd(name, true);
      if (record.isOpen) m_hooks.ends(name, record, std::chrono::system_clock::now(), false);
    }
  }
}

const OutageRecord* Outages::Receive(const Monitor& monitor, const CheckResult& result) {
  m_past[monitor.id].lastCheck = m_hooks.clock() - result.duration;
  if (result.IsGood()) {
    Recover(monitor, result);
    return nullptr;
  }
  const auto [failing, isNew] = m_failing.try_emplace(monitor.id);
  if (isNew) failing->second = {monitor.name, Outage({.identity = platform::RandomText(IdentitySize)})};
  Fail(monitor, result, failing->second);
  return &failing->second.outage.What();
}

void Outages::Fail(const Monitor& monitor, const CheckResult& result, Entry& entry) {
  entry.lastFailure = m_hooks.clock() - result.duration;
  if (entry.firstFailure == Moment()) entry.firstFailure = entry.lastFailure;
  const auto hold = HoldOf(monitor, entry);
  std::string remark;  // logged with the checks already
  const auto rules = OutageRules::Of(*monitor.attributes, remark);
  const auto actions = entry.outage.Fail(rules, result.at, {hold.HoldsMessages(), hold.holdsCommands});
  if (actions.begin) {
    const auto& record = entry.outage.What();
    m_hooks.log(monitor, result.at,
                "outage begins after " + Times(record.failures, "failed check") + " in a row");
    m_hooks.begins(monitor.name, record);
  }
  Act(monitor, entry, actions, hold);
  const bool isUrgent = actions.begin || actions.launch || actions.notify;
  if (isUrgent || !actions.isSettled) NoteChange(entry, isUrgent);
}

Hold Outages::HoldOf(const Monitor& monitor, Entry& entry) const {
  auto hold = m_hooks.hold(monitor);
  if (hold.isParentBack && entry.parentBackSince == Moment()) entry.parentBackSince = m_hooks.clock();
  return hold;
}

void Outages::Act(const Monitor& monitor, Entry& entry, const Outage::Actions& actions, const Hold& hold) {
  if (actions.holdsLaunch && !entry.holdsLaunch) Log(monitor, "command held: " + hold.why);
  if (actions.holdsMessage && !entry.holdsMessage) Log(monitor, "notification held: " + hold.why);
  entry.holdsLaunch = actions.holdsLaunch;
  entry.holdsMessage = actions.holdsMessage;
  const auto& record = entry.outage.What();
  if (actions.launch) Launch(monitor, keys::Command, record.failures);
  if (actions.notify)
    m_hooks.owe(FailureOf(record.identity), MessageOf(monitor, OwedMessage::Kind::Failure, record.since));
}

void Outages::Release(const MonitorTable& table) {
  for (auto& [id, entry] : m_failing)
    if (entry.holdsLaunch || entry.holdsMessage) Release(*table.Find(id), entry);
}

void Outages::Release(const Monitor& monitor, Entry& entry) {
  const auto hold = HoldOf(monitor, entry);
  const bool isStillHeld =
      (hold.holdsCommands || !entry.holdsLaunch) && (hold.HoldsMessages() || !entry.holdsMessage);
  if (isStillHeld) return;
  Log(monitor, "no longer held");
  std::string remark;
  const auto rules = OutageRules::Of(*monitor.attributes, remark);
  const auto actions = entry.outage.Release(rules, {hold.HoldsMessages(), hold.holdsCommands});
  Act(monitor, entry, actions, hold);
  if (actions.launch || actions.notify) NoteChange(entry, true);
}

void Outages::Recover(const Monitor& monitor, const CheckResult& result) {
  const auto failing = m_failing.find(monitor.id);
  if (failing == m_failing.end()) return;
  const auto hold = m_hooks.hold(monitor);
  const auto ended = m_failing.extract(failing);
  const auto& record = ended.mapped().outage.What();
  NoteEnd(monitor.name, record.isOpen || record.message != Message::None);
  LogDropped(monitor, ended.mapped());
  if (record.message == Message::Owed)
    m_hooks.endedBeforeMessage(FailureOf(record.identity), result.at, hold.HoldsMessages());
  else if (record.message == Message::Accepted)
    OweRecovery(monitor, FailureOf(record.identity), {.failingSince = record.since, .endedAt = result.at});
  m_past[monitor.id].lastEnd = m_hooks.clock();
  if (!record.isOpen) return;
  m_hooks.log(monitor, result.at, "outage ends after " + Times(record.failures, "failed check"));
  m_hooks.ends(monitor.name, record, result.at, hold.HoldsMessages());
  if (!OutageRules::NamesCommand(*monitor.attributes, keys::CommandSucc)) return;
  if (hold.holdsCommands && record.launched == 0)  // else what was started is to be undone
    Log(monitor, "command for the end dropped: " + hold.why);
  else
    Launch(monitor, keys::CommandSucc, record.failures);
}

void Outages::LogDropped(const Monitor& monitor, const Entry& entry) const {
  for (const auto& [isHeld, what] :
       {std::pair{entry.holdsLaunch, "command"}, std::pair{entry.holdsMessage, "notification"}})
    if (isHeld) Log(monitor, std::string(what) + " dropped: the outage ended while it was held");
}

void Outages::Log(const Monitor& monitor, const std::string& text) const {
  m_hooks.log(monitor, std::chrono::system_clock::now(), text);
}

Holds::History Outages::HistoryOf(MonitorId id) const {
  Holds::History history;
  if (const auto failing = m_failing.find(id); failing != m_failing.end()) {
    const auto& entry = failing->second;
    history.isFailing = true;
    history.firstFailure = entry.firstFailure;
    history.lastFailure = entry.lastFailure;
    history.parentBackSince = entry.parentBackSince;
  }
  if (const auto past = m_past.find(id); past != m_past.end()) {
    history.lastCheck = past->second.lastCheck;
    history.lastEnd = past->second.lastEnd;
  }
  return history;
}

void Outages::OweRecovery(const Monitor& monitor, const std::string& identity, const OwedMessage& failure) {
  if (!m_tellsRecovery || monitor.attributes->Get(keys::NotifyMode).empty() || HasMessage(monitor.id)) return;
  auto message = MessageOf(monitor, OwedMessage::Kind::Recovery, failure.failingSince);
  message.endedAt = failure.endedAt;
  m_hooks.owe(RecoveryOf(identity.substr(0, identity.rfind('-'))), std::move(message));
}

void Outages::Launch(const Monitor& monitor, std::string_view key, int failures) {
  m_hooks.launch(
      {monitor.id,
       monitor.name,
       monitor.attributes->Get(key),
       {Variable("NORVANE_MONITOR", monitor.name), Variable("NORVANE_TYPE", TypeNameOf(monitor.name)),
        Variable("NORVANE_TARGET", WithoutPassword(monitor.attributes->Get(keys::Parameter))),
        Variable("NORVANE_RESULT", monitor.attributes->Get(keys::Result)),
        Variable("NORVANE_FAILURES", std::to_string(failures))}});
}

void Outages::MessageEnded(MonitorId id, const std::string& identity, Message how) {
  const auto failing = m_failing.find(id);
  if (failing == m_failing.end() || FailureOf(failing->second.outage.What().identity) != identity) return;
  failing->second.outage.MessageEnded(how);
  NoteChange(failing->second, true);
}

void Outages::AddressChanged(MonitorId id) {
  const auto failing = m_failing.find(id);
  if (failing == m_failing.end() || failing->second.outage.What().message != Message::GivenUp) return;
  failing->second.outage.MessageEnded(Message::None);
  NoteChange(failing->second, true);
}

bool Outages::HasMessage(MonitorId id) const {
  const auto failing = m_failing.find(id);
  return failing != m_failing.end() && failing->second.outage.What().message != Message::None;
}

void Outages::Forget(MonitorId id) {
  m_past.erase(id);
  if (const auto failing = m_failing.extract(id); !failing.empty()) EndSilently(failing.mapped());
}

void Outages::EndSilently(const Entry& entry) {
  const auto& record = entry.outage.What();
  NoteEnd(entry.name, true);
  if (record.isOpen) m_hooks.ends(entry.name, record, std::chrono::system_clock::now(), true);
}

void Outages::TableReplaced(const MonitorTable& table) {
  m_past.clear();
  for (auto& [id, entry] : std::exchange(m_failing, {})) {
    const Monitor* monitor = table.Find(entry.name);
    if (monitor != nullptr && monitor->Running())
      m_failing.emplace(monitor->id, std::move(entry));
    else
      EndSilently(entry);
  }
  Restore(std::exchange(m_unknown, {}), table, false);
  for (const auto& [id, entry] : m_failing)
    NoteChange(entry, true);
}

NotifyRequest Outages::NotificationOf(const Monitor& monitor) const {
  const auto& attributes = *monitor.attributes;
  const auto failing = m_failing.find(monitor.id);
  std::string body = "Monitor: " + PlainText(monitor.name, console::engine::MaxNameSize) + "\n" +
                     "Target: " + PlainText(WithoutPassword(attributes.Get(keys::Parameter)), 4096) + "\n" +
                     "Last result: " + PlainText(attributes.Get(keys::Result)) + "\n";
  if (failing != m_failing.end()) {
    const auto& record = failing->second.outage.What();
    body += "Failing since: " + platform::TimeText(record.since) + "\n" +
            "Failed checks in a row: " + std::to_string(record.failures) + "\n";
  } else {
    body += "The monitor is not failing.\n";
  }
  return {monitor.id, attributes.Get(keys::NotifyMode), attributes.Get(keys::NotifyPager),
          attributes.Get(keys::NotifyMsg), std::move(body)};
}

OwedMessage Outages::MessageOf(const Monitor& monitor, OwedMessage::Kind kind,
                               OwedMessage::Time failingSince) const {
  auto request = NotificationOf(monitor);
  return {.kind = kind,
          .monitor = monitor.name,
          .mode = std::move(request.mode),
          .to = std::move(request.to),
          .message = std::move(request.message),
          .body = std::move(request.body),
          .failingSince = failingSince};
}

void Outages::NoteChange(const Entry& entry, bool isUrgent) {
  m_changes[entry.name] = entry.outage.What();
  m_hasUrgent = m_hasUrgent || isUrgent;
}

void Outages::NoteEnd(const std::string& monitor, bool isUrgent) {
  m_changes[monitor] = std::nullopt;
  m_hasUrgent = m_hasUrgent || isUrgent;
}

std::vector<std::string> Outages::Open() const {
  std::vector<std::string> names;
  for (const auto& [id, entry] : m_failing)
    if (entry.outage.What().isOpen) names.push_back(entry.name);
  return names;
}

const OutageRecord* Outages::FindOpen(MonitorId id) const {
  const auto failing = m_failing.find(id);
  const bool isOpen = failing != m_failing.end() && failing->second.outage.What().isOpen;
  return isOpen ? &failing->second.outage.What() : nullptr;
}

OutageChanges Outages::DequeueChanges(Extent extent) {
  if (extent == Extent::Urgent && !m_hasUrgent) return {};
  if (extent == Extent::All) {
    for (const auto& [id, entry] : m_failing)
      NoteChange(entry, true);
  }
  m_hasUrgent = false;
  return std::exchange(m_changes, {});
}

}  // namespace norvane::engine
