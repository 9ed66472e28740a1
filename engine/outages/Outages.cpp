#include "engine/outages/Outages.h"

#include <utility>

#include "console/engine/Limits.h"
#include "console/engine/MonitorKeys.h"
#include "engine/model/FullName.h"
#include "engine/net/Reason.h"
#include "platform/TimeText.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {

std::string Times(int count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// The kernel takes at most 128 KiB for one variable, and a program has no use for control characters.
std::string Variable(const char* name, std::string_view value) {
  constexpr std::size_t maxSize = 4096;
  return std::string(name) + "=" + PlainText(value, maxSize);
}

}  // namespace

void Outages::Restore(const OutageRecords& open, const MonitorTable& table) {
  for (const auto& [name, record] : open) {
    const Monitor* monitor = table.Find(name);
    if (monitor != nullptr && monitor->Running())
      m_failing.try_emplace(monitor->id, Entry{name, Outage(record)});
    else
      m_changes[name] = std::nullopt;
  }
}

int Outages::Receive(const Monitor& monitor, const CheckResult& result) {
  if (result.IsGood()) {
    Recover(monitor, result);
    return 0;
  }
  auto& entry = m_failing[monitor.id];
  entry.name = monitor.name;
  Fail(monitor, result, entry);
  return entry.outage.What().failures;
}

void Outages::Fail(const Monitor& monitor, const CheckResult& result, Entry& entry) {
  std::string remark;  // logged with the checks already
  const auto rules = OutageRules::Of(*monitor.attributes, remark);
  const auto actions = entry.outage.Fail(rules, result.at, m_hooks.clock());
  const auto failures = entry.outage.What().failures;
  if (actions.begin)
    m_hooks.log(monitor, result.at, "outage begins after " + Times(failures, "failed check") + " in a row");
  if (actions.launch) Launch(monitor, keys::Command, result.reason, failures);
  if (actions.notify) {
    entry.ticket = m_hooks.newTicket();
    m_hooks.runner.NotifyOnce(NotificationOf(monitor), entry.ticket);
  }
  if (actions.begin || actions.launch) NoteChange(entry);
}

void Outages::Recover(const Monitor& monitor, const CheckResult& result) {
  const auto ended = m_failing.extract(monitor.id);
  if (ended.empty()) return;
  const auto& outage = ended.mapped().outage;
  if (outage.MustOutliveEngine()) m_changes[monitor.name] = std::nullopt;
  if (!outage.What().isOpen) return;
  const auto failures = outage.What().failures;
  m_hooks.log(monitor, result.at, "outage ends after " + Times(failures, "failed check"));
  if (!monitor.attributes->Get(keys::CommandSucc).empty())
    Launch(monitor, keys::CommandSucc, result.reason, failures);
}

void Outages::Launch(const Monitor& monitor, std::string_view key, const std::string& result, int failures) {
  m_hooks.runner.Launch(
      {monitor.id,
       monitor.name,
       monitor.attributes->Get(key),
       {Variable("NORVANE_MONITOR", monitor.name), Variable("NORVANE_TYPE", TypeNameOf(monitor.name)),
        Variable("NORVANE_TARGET", WithoutPassword(monitor.attributes->Get(keys::Parameter))),
        Variable("NORVANE_RESULT", result), Variable("NORVANE_FAILURES", std::to_string(failures))}});
}

void Outages::NotifyEnded(MonitorId id, std::uint64_t ticket, bool accepted) {
  const auto failing = m_failing.find(id);
  // Another ticket is one sent by hand, or that of an outage that has ended meanwhile.
  if (failing == m_failing.end() || failing->second.ticket != ticket) return;
  failing->second.outage.NotifyEnded(accepted);
  if (accepted) NoteChange(failing->second);
}

void Outages::Forget(MonitorId id) {
  const auto failing = m_failing.extract(id);
  if (!failing.empty() && failing.mapped().outage.MustOutliveEngine())
    m_changes[failing.mapped().name] = std::nullopt;
}

void Outages::ForgetAll() {
  while (!m_failing.empty())
    Forget(m_failing.begin()->first);
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

OutageChanges Outages::DequeueChanges(bool everything) {
  for (const auto& [id, entry] : m_failing) {
    if (everything && entry.outage.MustOutliveEngine()) NoteChange(entry);
  }
  return std::exchange(m_changes, {});
}

}  // namespace norvane::engine
