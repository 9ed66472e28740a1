#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

#include "engine/model/MonitorTable.h"
#include "engine/model/Worker.h"
#include "engine/net/EventLoop.h"
#include "engine/outages/Outage.h"

namespace norvane::engine {

/// The failures of all monitors: has commands started and notifications sent, and gathers what must outlive
/// the engine. On the service thread.
class Outages {
 public:
  /// What they use of the service.
  struct Hooks {
    ActionRunner& runner;
    std::function<std::uint64_t()> newTicket;
    /// Into the monitor's log.
    std::function<void(const Monitor&, std::chrono::system_clock::time_point, const std::string&)> log;
    EventLoop::Clock clock;
  };

  explicit Outages(Hooks hooks) : m_hooks(std::move(hooks)) {}

  /// Goes on with those outages of an earlier engine whose monitors are in `table` and run; the others end.
  void Restore(const OutageRecords& open, const MonitorTable& table);

  /// A check of a running monitor has ended. Gives its failures in a row.
  int Receive(const Monitor& monitor, const CheckResult& result);
  /// The notification of `ticket` has ended; one that is no outage's is passed over.
  void NotifyEnded(MonitorId id, std::uint64_t ticket, bool accepted);
  /// The monitor was stopped or removed: its outage ends silently.
  void Forget(MonitorId id);
  void ForgetAll();

  /// The notification that the monitor's attributes ask for, with its present state.
  [[nodiscard]] NotifyRequest NotificationOf(const Monitor& monitor) const;

  /// Changes since the last call that must outlive the engine. Counts that grow with every failure are not
  /// among them, so that a lasting outage writes nothing; `everything` gives those too, for an orderly end.
  [[nodiscard]] OutageChanges DequeueChanges(bool everything);

 private:
  struct Entry {
    std::string name;
    Outage outage;
    std::uint64_t ticket = 0;  // of the notification under way
  };

  void Fail(const Monitor& monitor, const CheckResult& result, Entry& entry);
  void Recover(const Monitor& monitor, const CheckResult& result);
  void Launch(const Monitor& monitor, std::string_view key, const std::string& result, int failures);
  void NoteChange(const Entry& entry) { m_changes[entry.name] = entry.outage.What(); }

  Hooks m_hooks;
  std::unordered_map<MonitorId, Entry> m_failing;
  OutageChanges m_changes;
};

}  // namespace norvane::engine
