#include "engine/notify/AlertFeed.h"

#include <algorithm>
#include <utility>

#include "engine/model/FullName.h"
#include "engine/notify/MemberText.h"
#include "platform/JsonText.h"
#include "platform/Paths.h"
#include "platform/TimeText.h"

namespace norvane::engine {

using platform::JsonText;
using std::chrono::system_clock;

namespace {

/// The labels are the same from the beginning to the end of an outage, whatever is changed meanwhile: by them
/// an instance knows which alert is meant.
std::string LabelsOf(const std::string& monitor) {
  return "{\"alertname\":\"ServiceDown\",\"severity\":\"critical\",\"monitor\":" + MemberText(monitor) +
         ",\"type\":" + MemberText(TypeNameOf(monitor)) +
         ",\"instance\":" + MemberText(platform::ComputerName()) + "}";
}

std::string AlertObject(const std::string& monitor, const AlertFeed::Alert& alert, OwedMessage::Time end) {
  const auto since = JsonText(platform::TimeText(alert.since));
  return "{\"labels\":" + LabelsOf(monitor) + ",\"annotations\":{\"reason\":" + MemberText(alert.reason) +
         ",\"since\":" + since + ",\"target\":" + MemberText(alert.target) + "},\"startsAt\":" + since +
         ",\"endsAt\":" + JsonText(platform::TimeText(end)) + "}";
}

}  // namespace

AlertFeed::AlertFeed(const std::vector<std::string>& urls, std::chrono::seconds giveUp, Hooks hooks)
    : m_hooks(std::move(hooks)) {
  Configure(urls, giveUp);
}

void AlertFeed::Configure(const std::vector<std::string>& urls, std::chrono::seconds giveUp) {
  m_giveUp = giveUp;
  std::vector<Instance> instances;
  std::map<std::size_t, std::size_t> kept;  // new numbers by old ones
  for (const auto& each : urls) {
    auto url = each.substr(0, each.find_last_not_of('/') + 1);
    const auto known = std::ranges::find(m_instances, url, &Instance::url);
    if (known == m_instances.end()) {
      instances.push_back({.url = std::move(url)});
    } else {
      kept[static_cast<std::size_t>(known - m_instances.begin())] = instances.size();
      instances.push_back(std::exchange(*known, {}));
    }
  }
  m_instances = std::move(instances);
  std::vector<std::string> accepted;
  for (auto& [monitor, resolve] : m_resolves) {
    std::set<std::size_t> missing;
    for (const auto number : resolve.missing)
      if (const auto found = kept.find(number); found != kept.end()) missing.insert(found->second);
    resolve.missing = std::move(missing);
    if (resolve.missing.empty()) accepted.push_back(monitor);
  }
  for (const auto& monitor : accepted)
    Remove(monitor);
}

void AlertFeed::Restore(const std::string& identity, OwedMessage message) {
  Insert(identity, std::move(message));
}

void AlertFeed::Insert(const std::string& identity, OwedMessage message) {
  Remove(message.monitor);
  Resolve resolve{identity, std::move(message), {}};
  for (std::size_t i = 0; i < m_instances.size(); ++i) {
    resolve.missing.insert(i);
    m_instances[i].due.insert(resolve.message.monitor);
  }
  m_resolves.insert_or_assign(resolve.message.monitor, std::move(resolve));
}

void AlertFeed::OutageBegins(const std::string& monitor) {
  Remove(monitor);  // the alert goes on
  for (auto& instance : m_instances)
    instance.due.insert(monitor);
}

void AlertFeed::OutageEnds(const std::string& outage, const std::string& monitor, const Alert& alert,
                           OwedMessage::Time at) {
  if (!IsActive() || (m_told.erase(monitor) == 0 && alert.isHeld)) return;
  const auto identity = outage + "-m";
  OwedMessage message{.kind = OwedMessage::Kind::Event,
                      .monitor = monitor,
                      .exit = std::string(Exit),
                      .to = alert.target,
                      .message = alert.reason,
                      .since = system_clock::now(),
                      .failingSince = alert.since,
                      .endedAt = at};
  Insert(identity, message);
  m_hooks.change(identity, std::move(message));
}

void AlertFeed::Remove(const std::string& monitor) {
  const auto removed = m_resolves.extract(monitor);
  if (!removed.empty()) m_hooks.change(removed.mapped().identity, std::nullopt);
}

void AlertFeed::OnSecond() {
  if (!IsActive()) return;
  const auto now = m_hooks.clock();
  Drop([&](const OwedMessage& message) { return system_clock::now() - message.since >= m_giveUp; },
       "not accepted by all in time");
  for (std::size_t i = 0; i < m_instances.size(); ++i) {
    auto& instance = m_instances[i];
    if (now >= instance.nextRound) {
      instance.nextRound = now + Period;
      for (auto& monitor : m_hooks.open())
        instance.due.insert(std::move(monitor));
      for (const auto& [monitor, resolve] : m_resolves)
        if (resolve.missing.contains(i)) instance.due.insert(monitor);
    }
    SendDue(i);
  }
}

void AlertFeed::SendDue(std::size_t number) {
  auto& instance = m_instances[number];
  if (instance.ticket != 0 || m_hooks.clock() < instance.nextTry) return;
  std::string alerts;
  instance.batch.clear();
  instance.resolving.clear();
  while (!instance.due.empty() && instance.batch.size() < MaxBatch) {
    auto monitor = std::move(instance.due.extract(instance.due.begin()).value());
    const auto object = ObjectOf(monitor, number);
    if (object.empty()) continue;
    alerts += (alerts.empty() ? "[" : ",\n") + object;
    instance.batch.push_back(std::move(monitor));
  }
  if (alerts.empty()) return;
  NotifyRequest request;
  request.to = std::string(Exit);
  request.body = alerts + "]\n";
  request.url = instance.url + "/api/v2/alerts";
  instance.ticket = m_hooks.newTicket();
  m_hooks.runner.NotifyOnce(std::move(request), instance.ticket);
}

/// Empty if there is nothing to tell of the monitor.
std::string AlertFeed::ObjectOf(const std::string& monitor, std::size_t number) {
  if (const auto alert = m_hooks.alertOf(monitor)) {
    if (alert->isHeld && !m_told.contains(monitor)) return {};
    m_told.insert(monitor);
    return AlertObject(monitor, *alert, system_clock::now() + Lifetime);
  }
  const auto found = m_resolves.find(monitor);
  if (found == m_resolves.end() || !found->second.missing.contains(number)) return {};
  m_instances[number].resolving.insert(found->second.identity);
  const auto& message = found->second.message;
  return AlertObject(monitor, {message.failingSince, message.to, message.message}, message.endedAt);
}

bool AlertFeed::Receive(const NotificationEnded& report) {
  const auto sent =
      std::ranges::find_if(m_instances, [&](const auto& each) { return each.ticket == report.ticket; });
  if (sent == m_instances.end() || report.ticket == 0) return false;
  EndRequest(static_cast<std::size_t>(sent - m_instances.begin()), report);
  return true;
}

void AlertFeed::EndRequest(std::size_t number, const NotificationEnded& report) {
  auto& instance = m_instances[number];
  instance.ticket = 0;
  if (!report.result.IsGood()) {
    const auto pause =
        std::min<std::chrono::seconds>(FirstPause * (1 << std::min(instance.failures, 3)), Period);
    ++instance.failures;
    instance.reason = report.result.reason;
    instance.nextTry = m_hooks.clock() + std::clamp(report.retryAfter, pause, m_giveUp);
    instance.due.insert(instance.batch.begin(), instance.batch.end());
    return;
  }
  instance.failures = 0;
  instance.reason.clear();
  for (const auto& monitor : instance.batch) {
    const auto found = m_resolves.find(monitor);
    if (found == m_resolves.end() || !instance.resolving.contains(found->second.identity)) continue;
    found->second.missing.erase(number);
    if (found->second.missing.empty()) Remove(monitor);
  }
  SendDue(number);
}

OwedMessages AlertFeed::Owed() const {
  OwedMessages owed;
  for (const auto& [monitor, resolve] : m_resolves) {
    auto& message = owed[resolve.identity] = resolve.message;
    for (const auto number : resolve.missing) {
      message.reason = m_instances[number].reason;
      message.tries = m_instances[number].failures;
      if (message.tries > 0) break;
    }
  }
  return owed;
}

std::size_t AlertFeed::Drop(const std::function<bool(const OwedMessage&)>& isMeant, const std::string& why) {
  std::vector<std::string> dropped;
  for (const auto& [monitor, resolve] : m_resolves)
    if (isMeant(resolve.message)) dropped.push_back(monitor);
  for (const auto& monitor : dropped) {
    m_hooks.log(m_resolves.at(monitor).message, "end of the alert dropped: " + why);
    Remove(monitor);
  }
  return dropped.size();
}

std::string AlertFeed::Problem() const {
  std::string problem;
  for (const auto& instance : m_instances)
    if (instance.failures > 1)
      problem += (problem.empty() ? "" : "; ") + std::string(Exit) + " " + WithoutPassword(instance.url) +
                 ": " + instance.reason;
  return problem;
}

}  // namespace norvane::engine
