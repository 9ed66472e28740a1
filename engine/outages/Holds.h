#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>

#include "engine/model/MonitorTable.h"
#include "engine/model/Silence.h"
#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// What holds back an outage's messages and commands.
struct Hold {
  std::string why{};  ///< empty: nothing does
  bool holdsCommands = false;
  bool isParentBack = false;  ///< it was down, and messages wait for what the monitor's own checks say
  [[nodiscard]] bool HoldsMessages() const { return !why.empty(); }
};

/// Why messages and commands of a monitor are held: the user has silenced it, or a monitor on which it
/// depends is down. Holds nothing itself. On the service thread.
///
/// A monitor depends on its parent, on that one's parent and so on. While one of them fails, its messages are
/// held, and then until one of its own intervals has passed and a check has begun after the end, three
/// intervals at most in all: a parent that comes and goes mustn't hide it. A parent that was not checked
/// since its own first failure may be down too, so they wait for that check, but not long. Monitors that make
/// a circle hold nobody.
class Holds {
 public:
  using WallTime = std::chrono::system_clock::time_point;
  using WallClock = std::function<WallTime()>;

  /// A monitor's failures in a row, as far as this engine has seen them; the clock's start for what it
  /// hasn't. Checks count by their start.
  struct History {
    bool isFailing = false;
    Moment lastCheck{};
    Moment lastEnd{};                      ///< of failures in a row
    Moment firstFailure{}, lastFailure{};  ///< of the present row
    Moment parentBackSince{};              ///< the first time in it
  };
  struct Hooks {
    std::function<const MonitorTable&()> table;
    std::function<History(MonitorId)> history;
    /// Into the monitor's log.
    std::function<void(const Monitor&, const std::string&)> log;
    EventLoop::Clock clock;
    WallClock wallClock = &std::chrono::system_clock::now;
  };

  explicit Holds(Hooks hooks) : m_hooks(std::move(hooks)), m_wallLead(WallLead()) {}

  /// Goes on with the silences of an earlier engine, none longer than it was meant to last. Those of unknown
  /// monitors end, unless `keepsUnknown`: then they wait for another table.
  void Restore(Silences silences, bool keepsUnknown);

  [[nodiscard]] Hold HoldOf(const Monitor& monitor) const;

  /// Replaces an earlier one.
  void Begin(const Monitor& monitor, Silence silence);
  /// Harmless if there is none.
  void End(const Monitor& monitor);
  /// The monitor was removed.
  void Forget(const std::string& name);
  /// The table is another one: silences of monitors that it lacks are forgotten.
  void TableReplaced();
  /// Ends silences whose time is over. They last no longer than they were meant to if the wall clock is set
  /// back meanwhile. To be called about once a second.
  void OnSecond();

  [[nodiscard]] const Silences& Active() const { return m_silences; }
  /// Since the last call.
  [[nodiscard]] SilenceChanges DequeueChanges();

  /// Writes to the log what is wrong with the parents of a monitor, when that changes.
  void LogRemark(const Monitor& monitor);

 private:
  [[nodiscard]] std::string SilenceOf(const Monitor& monitor) const;
  [[nodiscard]] Hold ParentHoldOf(const Monitor& monitor) const;
  [[nodiscard]] WallTime::duration WallLead() const;
  void FollowWallClock();
  void EndInTime(Silence& silence) const;

  Hooks m_hooks;
  WallTime::duration m_wallLead;  // of the wall clock over the other one
  Silences m_silences;
  Silences m_unknown;  // of monitors that no table has had
  SilenceChanges m_changes;
  std::map<std::string, std::string, std::less<>> m_remarks;  // by monitor
};

/// Throws the error of a circle; `chain` has the names in order.
[[noreturn]] void RefuseCircle(const std::string& chain);

/// Throws EngineError (Invalid), with the names in order, if `parent` as parent of the monitor made a circle.
void RequireNoCircle(const MonitorTable& table, const Monitor& monitor, std::string_view parent);

}  // namespace norvane::engine
