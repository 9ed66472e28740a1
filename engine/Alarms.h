#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "console/engine/OpenOutage.h"
#include "console/engine/OwedMessage.h"
#include "engine/Exits.h"
#include "engine/model/Health.h"
#include "engine/model/StateChanges.h"
#include "engine/notify/MessageSender.h"
#include "engine/outages/Holds.h"
#include "engine/outages/Outages.h"
#include "engine/store/Storage.h"

namespace norvane::engine {

class AdminMessages;
class EngineLog;
class EngineState;

/// What failures lead to: outages, their commands and their messages, all of it kept on disk. On the service
/// thread.
class Alarms {
 public:
  /// At the end of the engine a command may run for so long before it is terminated.
  static constexpr std::chrono::seconds CommandGrace{5};
  /// Whoever waits for a write is told after this that it fails.
  static constexpr std::chrono::seconds MaxWriteTime{5};

  struct Options {
    MessageSender::Options messages{};
    std::vector<std::string> alertmanagers{};  ///< URLs
    bool tellsRecovery = false;
    Holds::WallClock wallClock = &std::chrono::system_clock::now;
  };
  /// What they use of the service. All of it outlives them.
  struct Parts {
    ActionRunner& runner;
    EngineState& state;
    Health& health;
    EngineLog& ownLog;
    AdminMessages& admin;
    std::function<std::uint64_t()> newTicket;
    std::function<const MonitorTable&()> table;
    /// Into the monitor's log.
    std::function<void(const Monitor&, OwedMessage::Time, const std::string&)> log;
    EventLoop::Clock clock;
  };

  Alarms(Options options, Parts parts);

  /// Other options from now on, but for the clock.
  void Configure(const Options& options);

  /// Goes on with what the state file has. `keepsUnknown`: outages of monitors that the table lacks are kept,
  /// since it could not be loaded.
  void Restore(bool keepsUnknown);

  /// A check of a running monitor has ended. Gives its failures in a row; null after a good one.
  const OutageRecord* Receive(const Monitor& monitor, const CheckResult& result);
  /// False if the notification is not one of an outage or of the engine itself.
  [[nodiscard]] bool Receive(const NotificationEnded& ended);
  void Receive(const LaunchProgress& progress);
  void ConditionChanged(std::string_view key, const Health::Condition& condition, Health::Change change);
  /// Its outage ends silently, and what it owes is dropped; `why` goes to its log. False if there was none of
  /// it.
  [[nodiscard]] bool Forget(const Monitor& monitor, const std::string& why);
  /// `next` replaces the table: what is owed by monitors that don't run there is dropped ...
  void TableIsReplacedBy(const MonitorTable& next, const std::string& why);
  /// ... and when it has, outages and silences of the others go on.
  void TableReplaced();
  /// The monitor's notifications go elsewhere from now on.
  void AddressChanged(MonitorId id) { m_outages.AddressChanged(id); }

  /// Messages and commands of the monitors are held for this time. `done` when that is on disk.
  void Silence(const std::vector<const Monitor*>& monitors, std::chrono::seconds time,
               const std::string& because, Completion done);
  void Unsilence(const std::vector<const Monitor*>& monitors, Completion done);
  /// The monitor is being removed.
  void ForgetSilence(const Monitor& monitor) { m_holds.Forget(monitor.name); }
  [[nodiscard]] const Silences& ActiveSilences() const { return m_holds.Active(); }
  /// Why messages of this monitor are held; empty if they aren't.
  [[nodiscard]] std::string WhyHeld(std::string_view monitor) const;
  /// In no order.
  [[nodiscard]] std::vector<console::engine::OpenOutage> OpenOutages() const;

  void Owe(std::string identity, OwedMessage message);
  /// Oldest first.
  [[nodiscard]] std::vector<console::engine::OwedMessage> Owed() const;
  /// Drops what these monitors owe; without a name all that is owed. Throws EngineError (NotFound) if one
  /// owes nothing.
  void Drop(const std::vector<std::string>& monitors);
  [[nodiscard]] NotifyRequest NotificationOf(const Monitor& monitor) const;

  /// Has what changed written, and sends what is due. To be called when anything of the above has happened,
  /// and when writes have ended.
  void Keep() { Keep(Outages::Extent::Urgent); }
  /// To be called about once a second.
  void OnSecond();

  /// The engine is ending: nothing more is sent.
  void BeginEnd() { m_sender.Hold(); }
  /// Something is being sent, or a command started or in its first seconds.
  [[nodiscard]] bool IsBusy() const;
  /// Writes all, also what an outage's mere lasting has changed.
  void Save(Completion done);
  /// The last `Save`. Commands that were not started are in it, for the next engine.
  void WriteAtEnd(Completion done);

 private:
  struct Launching {
    LaunchRequest request;
    std::optional<Moment> startedAt{};
  };

  struct AwaitedWrite {
    std::uint64_t number;
    Moment until;
    Completion done;
  };

  void Keep(Outages::Extent extent);
  void AwaitWrite(Completion done);
  void CompleteWritten();
  [[nodiscard]] StateChanges DequeueChanges(Outages::Extent extent);
  void Restore(const std::string& identity, OwedMessage message, OwedMessages& toSend);
  void Launch(LaunchRequest request);
  void OweCommand(const LaunchRequest& request);
  [[nodiscard]] OwedMessages AllOwed() const;
  [[nodiscard]] std::string Revise(OwedMessage& message) const;
  void Log(const OwedMessage& message, const std::string& text) const;
  void MessageFailed(const OwedMessage& message);
  void MessageEnded(const std::string& identity, const OwedMessage& message,
                    const MessageSender::Ended& ended);

  Parts m_parts;
  Outages m_outages;
  Holds m_holds;
  MessageSender m_sender;
  Exits m_exits;
  std::map<std::uint64_t, Launching> m_launches;  // by ticket
  OwedChanges m_changes;                          // beside the sender's
  Holds::WallClock m_wallClock;
  std::uint64_t m_lastWrite = 0;
  std::deque<AwaitedWrite> m_awaited;
};

}  // namespace norvane::engine
