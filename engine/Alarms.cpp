#include "engine/Alarms.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"
#include "engine/model/CheckResult.h"
#include "engine/model/Health.h"
#include "engine/net/Reason.h"
#include "engine/notify/AdminMessages.h"
#include "engine/notify/MessageText.h"
#include "engine/store/EngineLog.h"
#include "engine/store/EngineState.h"
#include "platform/RandomText.h"

namespace norvane::engine {

namespace keys = console::engine::keys;
using console::engine::EngineError;
using console::engine::EngineErrorCode;
using std::chrono::system_clock;

namespace {

constexpr std::size_t IdentitySize = 8;

// Conditions.
constexpr std::string_view NotAccepted = "notifications";
constexpr std::string_view AlertsNotAccepted = "alerts";
constexpr std::string_view GivenUpOf = "notification given up: ";  // and the monitor, or the exit
constexpr std::chrono::hours GivenUpTime{24};

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& line : lines)
    text += line + "\n";
  return text;
}

std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const auto line = text.substr(0, text.find('\n'));
    if (!line.empty()) lines.emplace_back(line);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return lines;
}

}  // namespace

Alarms::Alarms(Options options, Parts parts)
    : m_parts(std::move(parts)),
      m_outages({[this](LaunchRequest request) { Launch(std::move(request)); },
                 [this](std::string identity, OwedMessage message) {
                   m_sender.Owe(std::move(identity), std::move(message));
                 },
                 [this](const auto& identity, auto at, bool isHeld) {
                   if (!isHeld || !m_sender.DropWaiting(identity, "the outage ended while it was held"))
                     m_sender.OutageEnded(identity, at);
                 },
                 [this](const auto& monitor, const auto& record) { m_exits.OutageBegins(monitor, record); },
                 [this](const auto& monitor, const auto& record, auto at, bool isSilent) {
                   m_exits.OutageEnds(monitor, record, at, isSilent);
                 },
                 [this](const auto& monitor) { return m_holds.HoldOf(monitor); }, m_parts.clock, m_parts.log},
                options.tellsRecovery),
      m_holds(
          {m_parts.table, [this](auto id) { return m_outages.HistoryOf(id); },
           [this](const auto& monitor, const auto& text) { m_parts.log(monitor, system_clock::now(), text); },
           m_parts.clock, options.wallClock}),
      m_sender(options.messages,
               {m_parts.runner, m_parts.newTicket,
                [this](const auto& message, const auto& text) { Log(message, text); },
                [this](const auto& message) { MessageFailed(message); },
                [this](const auto& identity, const auto& message, const auto& ended) {
                  MessageEnded(identity, message, ended);
                },
                m_parts.clock, [this](const auto& message) { return WhyHeld(message.monitor); }}),
      m_exits({options.messages.webhooks, std::move(options.alertmanagers), options.messages.giveUp},
              {m_sender, m_outages, m_parts.runner, m_parts.newTicket, m_parts.table,
               [this](auto monitor) { return !WhyHeld(monitor).empty(); },
               [this](const auto& identity, auto message) { m_changes[identity] = std::move(message); },
               [this](const auto& message, const auto& text) { Log(message, text); }, m_parts.clock}),
      m_wallClock(std::move(options.wallClock)) {}

void Alarms::Configure(const Options& options) {
  const auto& webhooks = options.messages.webhooks;
  m_outages.TellRecovery(options.tellsRecovery);
  m_sender.Configure(options.messages);
  m_exits.Configure({webhooks, options.alertmanagers, options.messages.giveUp});
  m_sender.Drop(
      [&](const auto& message) { return !message.exit.empty() && !webhooks.contains(message.exit); },
      "not in config.ini");
}

// From one engine to the next

void Alarms::Restore(bool keepsUnknown) {
  m_holds.Restore(m_parts.state.SilencesAtStart(), keepsUnknown);
  const auto& owed = m_parts.state.OwedAtStart();
  OwedMessages toSend;
  for (const auto& [identity, message] : owed)
    Restore(identity, message, toSend);
  m_sender.Restore(toSend, m_parts.state.SinglesAtStart());
  m_outages.Restore(m_parts.state.OutagesAtStart(), owed, m_parts.table(), keepsUnknown);
  m_sender.Revise([this](auto& message) { return Revise(message); });
}

void Alarms::Restore(const std::string& identity, OwedMessage message, OwedMessages& toSend) {
  using Kind = OwedMessage::Kind;
  if (!message.exit.empty()) {
    if (m_exits.Restore(identity, message, toSend)) return;
    m_changes[identity] = std::nullopt;
    return Log(message, "notification dropped: not in config.ini");
  }
  const Monitor* monitor = m_parts.table().Find(message.monitor);
  const bool isStopped = monitor != nullptr && !monitor->Running();
  const bool isForAdmin = message.kind == Kind::Admin;
  if (message.kind != Kind::Command && !isStopped && (!isForAdmin || m_parts.admin.Resume(message))) {
    toSend.emplace(identity, std::move(message));
    return;
  }
  m_changes[identity] = std::nullopt;
  if (message.kind == Kind::Command && monitor != nullptr && !isStopped)
    return Launch({monitor->id, monitor->name, message.message, Lines(message.body)});
  Log(message, message.kind == Kind::Command
                   ? "command " + message.message + " was not started: the monitor does not run"
                   : "notification dropped: " + std::string(isForAdmin ? "no administrator in config.ini"
                                                                       : "the monitor is stopped"));
}

void Alarms::WriteAtEnd(Completion done) {
  for (const auto& [ticket, launching] : m_launches)
    if (!launching.startedAt) OweCommand(launching.request);
  Save(std::move(done));
}

void Alarms::Save(Completion done) {
  m_parts.state.WriteAll(DequeueChanges(Outages::Extent::All), std::move(done));
}

void Alarms::OweCommand(const LaunchRequest& request) {
  m_changes[platform::RandomText(IdentitySize) + "-c"] = OwedMessage{.kind = OwedMessage::Kind::Command,
                                                                     .monitor = request.name,
                                                                     .message = request.program,
                                                                     .body = Joined(request.environment),
                                                                     .since = system_clock::now()};
}

bool Alarms::IsBusy() const {
  const auto now = m_parts.clock();
  return m_sender.IsSending() || std::ranges::any_of(m_launches, [&](const auto& each) {
           return !each.second.startedAt || now < *each.second.startedAt + CommandGrace;
         });
}

StateChanges Alarms::DequeueChanges(Outages::Extent extent) {
  auto owed = m_sender.DequeueChanges();
  owed.merge(std::exchange(m_changes, {}));
  StateChanges changes{m_outages.DequeueChanges(extent), std::move(owed), m_holds.DequeueChanges()};
  if (!changes.IsEmpty())
    changes.singles = m_sender.DequeueSingles();  // they are worth no write of their own
  return changes;
}

void Alarms::Keep(Outages::Extent extent) {
  if (auto changes = DequeueChanges(extent); !changes.IsEmpty())
    m_sender.Asked(m_lastWrite = m_parts.state.Write(std::move(changes)));
  CompleteWritten();
  m_sender.SendDue(m_parts.state.Written());
  m_parts.health.Set(NotAccepted, m_sender.Problem());
  m_parts.health.Set(AlertsNotAccepted, m_exits.Problem());
}

void Alarms::OnSecond() {
  m_holds.OnSecond();
  m_outages.Release(m_parts.table());
  m_sender.Revise([this](auto& message) { return Revise(message); });
  m_sender.OnSecond();
  m_exits.OnSecond();
  m_parts.state.OnSecond();
  Keep(Outages::Extent::Changed);
}

void Alarms::AwaitWrite(Completion done) {
  Keep();
  m_awaited.push_back({m_lastWrite, m_parts.clock() + MaxWriteTime, std::move(done)});
  CompleteWritten();
}

void Alarms::CompleteWritten() {
  while (!m_awaited.empty()) {
    const bool isWritten = m_awaited.front().number <= m_parts.state.Written();
    if (!isWritten && m_parts.clock() < m_awaited.front().until) return;
    const auto done = std::move(m_awaited.front().done);
    m_awaited.pop_front();
    done(isWritten
             ? nullptr
             : std::make_exception_ptr(EngineError(EngineErrorCode::Failed,
                                                   "done, but forgotten when the engine ends: the state file "
                                                   "cannot be written")));
  }
}

// Silences

void Alarms::Silence(const std::vector<const Monitor*>& monitors, std::chrono::seconds time,
                     const std::string& because, Completion done) {
  for (const auto* monitor : monitors)
    m_holds.Begin(*monitor, {m_wallClock() + time, because, m_wallClock()});
  AwaitWrite(std::move(done));
}

void Alarms::Unsilence(const std::vector<const Monitor*>& monitors, Completion done) {
  for (const auto* monitor : monitors)
    m_holds.End(*monitor);
  m_outages.Release(m_parts.table());
  AwaitWrite(std::move(done));
}

std::string Alarms::WhyHeld(std::string_view monitor) const {
  const Monitor* found = monitor.empty() ? nullptr : m_parts.table().Find(monitor);
  return found == nullptr ? std::string() : m_holds.HoldOf(*found).why;
}

std::vector<console::engine::OpenOutage> Alarms::OpenOutages() const {
  std::vector<console::engine::OpenOutage> open;
  for (const auto& name : m_outages.Open()) {
    const Monitor* monitor = m_parts.table().Find(name);
    const auto* outage = monitor == nullptr ? nullptr : m_outages.FindOpen(monitor->id);
    if (outage != nullptr) open.push_back({name, outage->since, m_holds.HoldOf(*monitor).HoldsMessages()});
  }
  return open;
}

// What happens

const OutageRecord* Alarms::Receive(const Monitor& monitor, const CheckResult& result) {
  if (!result.IsGood()) m_holds.LogRemark(monitor);
  return m_outages.Receive(monitor, result);
}

bool Alarms::Receive(const NotificationEnded& ended) {
  return m_sender.Receive(ended) || m_exits.Receive(ended);
}

void Alarms::Receive(const LaunchProgress& progress) {
  using State = LaunchProgress::State;
  const auto launching = m_launches.find(progress.ticket);
  if (launching == m_launches.end()) return;
  if (progress.state == State::Started) {
    launching->second.startedAt = m_parts.clock();
    return;
  }
  if (progress.state == State::HandedBack) OweCommand(launching->second.request);
  m_launches.erase(launching);
}

void Alarms::Launch(LaunchRequest request) {
  request.ticket = m_parts.newTicket();
  m_launches[request.ticket] = {request};
  m_parts.runner.Launch(std::move(request));
}

void Alarms::Owe(std::string identity, OwedMessage message) {
  m_sender.Owe(std::move(identity), std::move(message));
}

bool Alarms::Forget(const Monitor& monitor, const std::string& why) {
  const bool wasFailing = m_outages.HistoryOf(monitor.id).isFailing;
  m_outages.Forget(monitor.id);
  const auto dropped = m_sender.Drop(
      [&](const OwedMessage& message) { return message.monitor == monitor.name && message.exit.empty(); },
      why);
  return wasFailing || dropped > 0;
}

void Alarms::TableIsReplacedBy(const MonitorTable& next, const std::string& why) {
  const auto& table = m_parts.table();
  m_sender.Drop(
      [&](const OwedMessage& message) {
        const Monitor* monitor = next.Find(message.monitor);
        return message.exit.empty() && table.Find(message.monitor) != nullptr &&
               (monitor == nullptr || !monitor->Running());
      },
      why);
}

void Alarms::TableReplaced() {
  m_holds.TableReplaced();
  m_outages.TableReplaced(m_parts.table());
}

/// A message that waits goes where its monitor's present attributes say. Gives why it is dropped instead.
std::string Alarms::Revise(OwedMessage& message) const {
  using Kind = OwedMessage::Kind;
  if (message.kind == Kind::Admin)
    return m_parts.admin.Resume(message) ? "" : "no administrator in config.ini";
  const bool isOfOutage = message.kind == Kind::Failure || message.kind == Kind::Recovery;
  const Monitor* monitor =
      isOfOutage && message.exit.empty() ? m_parts.table().Find(message.monitor) : nullptr;
  if (monitor == nullptr) return {};
  if (message.kind == Kind::Recovery && m_outages.HasMessage(monitor->id)) return "the monitor fails again";
  message.mode = monitor->attributes->Get(keys::NotifyMode);
  message.to = monitor->attributes->Get(keys::NotifyPager);
  return message.mode.empty() ? "the monitor has no notification any more" : "";
}

std::vector<console::engine::OwedMessage> Alarms::Owed() const {
  std::vector<console::engine::OwedMessage> owed;
  for (const auto& [identity, each] : AllOwed())
    owed.push_back({each.monitor, PlainText(each.message), PlainText(each.to), ShownMode(each), each.since,
                    each.tries, each.reason, each.nextTry});
  std::ranges::sort(owed, {}, [](const auto& each) { return std::tie(each.since, each.monitor); });
  return owed;
}

void Alarms::Drop(const std::vector<std::string>& monitors) {
  const auto owed = AllOwed();
  for (const auto& name : monitors) {
    if (std::ranges::none_of(owed, [&](const auto& each) { return each.second.monitor == name; }))
      throw EngineError(EngineErrorCode::NotFound, "nothing is owed by " + name);
  }
  const std::set<std::string> names(monitors.begin(), monitors.end());
  const auto isMeant = [&](const auto& message) { return names.empty() || names.contains(message.monitor); };
  const std::string why = "as asked by norvanectl";
  m_sender.Drop(isMeant, why);
  m_exits.Drop(isMeant, why);
}

OwedMessages Alarms::AllOwed() const {
  auto owed = m_sender.All();
  owed.merge(m_exits.Owed());
  return owed;
}

/// Without those about messages: a webhook that accepts only some would cause ever more of them.
void Alarms::ConditionChanged(std::string_view key, const Health::Condition& condition,
                              Health::Change change) {
  if (key != NotAccepted && key != AdminMessages::Unreachable && !key.starts_with(GivenUpOf))
    m_exits.ConditionChanged(condition, change);
}

NotifyRequest Alarms::NotificationOf(const Monitor& monitor) const {
  return m_outages.NotificationOf(monitor);
}

void Alarms::Log(const OwedMessage& message, const std::string& text) const {
  const auto line = (message.exit.empty() ? "" : message.exit + ": ") + text;
  if (const Monitor* monitor = m_parts.table().Find(message.monitor))
    m_parts.log(*monitor, system_clock::now(), line);
  else if (!message.monitor.empty())
    m_parts.ownLog.Write(message.monitor + ": " + line);
  else
    m_parts.ownLog.Write((message.exit.empty() ? "administrator: " : "") + line);
}

void Alarms::MessageFailed(const OwedMessage& message) {
  if (message.kind == OwedMessage::Kind::Admin)
    m_parts.health.Set(AdminMessages::Unreachable,
                       "message to the administrator not accepted: " + message.reason);
}

void Alarms::MessageEnded(const std::string& identity, const OwedMessage& message,
                          const MessageSender::Ended& ended) {
  using End = MessageSender::End;
  if (message.kind == OwedMessage::Kind::Admin) {
    m_parts.admin.Ended();
    return m_parts.health.Set(AdminMessages::Unreachable, {});
  }
  if (ended.end == End::GivenUp) {
    m_parts.health.Note(std::string(GivenUpOf) + (message.exit.empty() ? message.monitor : message.exit),
                        NameOf(message) + " given up: " + ended.reason, GivenUpTime);
    if (m_sender.Problem().empty()) m_parts.health.Replace(NotAccepted);
  }
  if (message.kind == OwedMessage::Kind::Event && ended.end == End::Accepted)
    return m_exits.Accepted(identity, message);
  const Monitor* monitor = m_parts.table().Find(message.monitor);
  if (monitor == nullptr || message.kind != OwedMessage::Kind::Failure) return;
  using Message = OutageRecord::Message;
  const bool isTold = ended.end == End::Accepted || !message.left.empty();
  m_outages.MessageEnded(monitor->id, identity, isTold ? Message::Accepted : Message::GivenUp);
  if (!ended.toldEnd) m_outages.OweRecovery(*monitor, identity, message);
}

}  // namespace norvane::engine
