#pragma once

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/model/MonitorTable.h"
#include "engine/model/OwedMessage.h"
#include "engine/outages/Holds.h"
#include "engine/outages/Outage.h"

namespace norvane::engine {

struct CheckResult;

/// The failures of all monitors: says which commands are to be started and which messages are owed, and
/// gathers what must outlive the engine. On the service thread.
class Outages {
 public:
  /// What they use of the service.
  struct Hooks {
    std::function<void(LaunchRequest)> launch;
    std::function<void(std::string identity, OwedMessage)> owe;
    /// The outage whose message is still owed is over. `isHeld`: the message.
    std::function<void(const std::string& identity, OwedMessage::Time at, bool isHeld)> endedBeforeMessage;
    std::function<void(const std::string& monitor, const OutageRecord&)> begins;
    /// An outage is over, be it since its monitor no longer runs. `isSilent`: whoever wasn't told of its
    /// beginning is not told of it at all.
    std::function<void(const std::string& monitor, const OutageRecord&, OwedMessage::Time at, bool isSilent)>
        ends;
    std::function<Hold(const Monitor&)> hold;
    EventLoop::Clock clock;
    /// Into the monitor's log.
    std::function<void(const Monitor&, OwedMessage::Time, const std::string&)> log;
  };
  /// What `DequeueChanges` gives, each with those above it.
  enum class Extent {
    Urgent,   ///< nothing, unless something happened that must be on disk at once
    Changed,  ///< counts too, as long as they lead to anything
    All,      ///< all counts
  };

  Outages(Hooks hooks, bool tellsRecovery) : m_hooks(std::move(hooks)), m_tellsRecovery(tellsRecovery) {}

  /// Whether another message tells when the service is back.
  void TellRecovery(bool tells) { m_tellsRecovery = tells; }

  /// Goes on with those outages of an earlier engine whose monitors are in `table` and run. Those of stopped
  /// monitors end, and so do those of unknown ones, unless `keepsUnknown`: then they wait for another table.
  void Restore(OutageRecords records, const OwedMessages& owed, const MonitorTable& table, bool keepsUnknown);

  /// A check of a running monitor has ended. Gives its failures in a row; null after a good one.
  const OutageRecord* Receive(const Monitor& monitor, const CheckResult& result);
  /// Does what was held, as far as it no longer is. To be called about once a second.
  void Release(const MonitorTable& table);
  [[nodiscard]] Holds::History HistoryOf(MonitorId id) const;
  /// What became of a message that was owed; those that are no outage's are passed over.
  void MessageEnded(MonitorId id, const std::string& identity, OutageRecord::Message how);
  /// For an outage that ended while its message was being sent: `failure`, which was accepted, did not say
  /// so.
  void OweRecovery(const Monitor& monitor, const std::string& identity, const OwedMessage& failure);
  /// The monitor was stopped or removed: its outage ends silently.
  void Forget(MonitorId id);
  /// The monitors are those of `table` from now on: outages of those that run there, by name, go on.
  void TableReplaced(const MonitorTable& table);
  /// The monitor's notifications go elsewhere from now on: one that was given up or dropped is owed again if
  /// the monitor still fails.
  void AddressChanged(MonitorId id);
  /// The monitor fails, and its message is owed or has been sent.
  [[nodiscard]] bool HasMessage(MonitorId id) const;

  /// The notification that the monitor's attributes ask for, with its present state.
  [[nodiscard]] NotifyRequest NotificationOf(const Monitor& monitor) const;

  /// Full names of the monitors with an open outage.
  [[nodiscard]] std::vector<std::string> Open() const;
  /// Null if the monitor has none that is open.
  [[nodiscard]] const OutageRecord* FindOpen(MonitorId id) const;

  /// Changes since the last call.
  [[nodiscard]] OutageChanges DequeueChanges(Extent extent);

 private:
  struct Entry {
    std::string name;
    Outage outage;
    Moment firstFailure{}, lastFailure{};  // start of the check
    Moment parentBackSince{};
    bool holdsLaunch = false, holdsMessage = false;
  };

  /// What is known of a monitor whether it fails or not.
  struct Past {
    Moment lastCheck{}, lastEnd{};
  };

  void Restore(OutageRecords records, const MonitorTable& table, bool keepsUnknown);
  void EndSilently(const Entry& entry);
  [[nodiscard]] Hold HoldOf(const Monitor& monitor, Entry& entry) const;
  void Fail(const Monitor& monitor, const CheckResult& result, Entry& entry);
  void Release(const Monitor& monitor, Entry& entry);
  void Act(const Monitor& monitor, Entry& entry, const Outage::Actions& actions, const Hold& hold);
  void Recover(const Monitor& monitor, const CheckResult& result);
  void LogDropped(const Monitor& monitor, const Entry& entry) const;
  void Log(const Monitor& monitor, const std::string& text) const;
  void Launch(const Monitor& monitor, std::string_view key, int failures);
  [[nodiscard]] OwedMessage MessageOf(const Monitor& monitor, OwedMessage::Kind kind,
                                      OwedMessage::Time failingSince) const;
  void NoteChange(const Entry& entry, bool isUrgent);
  void NoteEnd(const std::string& monitor, bool isUrgent);

  Hooks m_hooks;
  bool m_tellsRecovery;
  std::unordered_map<MonitorId, Entry> m_failing;
  std::unordered_map<MonitorId, Past> m_past;
  OutageRecords m_unknown;  // of monitors that no table has had
  OutageChanges m_changes;
  bool m_hasUrgent = false;
};

}  // namespace norvane::engine
