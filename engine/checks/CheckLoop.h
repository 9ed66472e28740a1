#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "engine/checks/ProbeType.h"
#include "engine/checks/Schedule.h"
#include "engine/model/CheckFigures.h"
#include "engine/model/Reports.h"
#include "engine/net/RecentMaximum.h"

namespace norvane::engine {

/// When the checks of a monitor begin, or go on in another loop.
struct CheckStart {
  std::uint64_t number = 0;  ///< distinguishes this start of the monitor from former ones
  Moment first{};
  bool isRemarked = false;  ///< what is wrong with its attributes was reported already
};

/// A monitor that a loop no longer checks.
struct ReleasedMonitor {
  MonitorId id = 0;
  CheckStart start;  ///< by which another loop goes on
};

/// The checks of one event loop: starts them as they fall due, runs their probes under their time-outs and
/// reports how they end. On the loop's thread.
class CheckLoop {
 public:
  struct Hooks {
    std::function<void(CheckEnded)> deliver;
    std::function<void(const ReleasedMonitor&)> release = [](const auto&) {};
  };

  /// At most `maxInFlight` checks are under way, not counting those that wait for a name; further ones wait,
  /// which is none of their time. Throws std::exception when a library cannot be set up.
  CheckLoop(ProbeContext& context, MonitorTypes types, std::size_t maxInFlight, Hooks hooks);
  ~CheckLoop();
  CheckLoop(const CheckLoop&) = delete;
  CheckLoop& operator=(const CheckLoop&) = delete;

  /// As in CheckRunner. A start that was made already is an update. One that throws was not made.
  void Start(CheckTarget target, CheckStart start);
  void Update(CheckTarget target);
  void Stop(MonitorId id);
  /// Gives the monitor up when the check that waits or is in flight has ended.
  void Release(MonitorId id);
  void CheckOnce(CheckTarget target, std::uint64_t ticket);

  /// Begins what is due. Called at the end of each turn of the loop, at `NextTurn` at the latest.
  void Turn();
  /// None: not until something else happens.
  [[nodiscard]] std::optional<Moment> NextTurn() const;
  [[nodiscard]] bool HasInFlight() const { return !m_inFlight.empty(); }
  [[nodiscard]] CheckFigures Figures() const;

 private:
  class Check;
  using Checks = std::list<std::unique_ptr<Check>>;
  struct Watched {
    CheckTarget target;
    std::uint64_t start = 0;
    std::chrono::milliseconds timeout{};
    std::string remark;      // on the attributes as they are
    bool remarked = false;   // reported already
    Check* check = nullptr;  // that waits or is in flight
    bool isLeaving = false;
    int notMade = 0;  // checks in a row that could not be judged
  };

  /// Gives the interval.
  std::chrono::milliseconds SetTarget(Watched& watched, CheckTarget target);
  void HandOver(MonitorId id, const Watched& watched);
  void RetrySoon(MonitorId id);
  void EnqueueDue(Moment end);
  void EnqueueScheduled(Watched& watched);
  void Enqueue(std::unique_ptr<Check> check);
  [[nodiscard]] bool HasPlace() const;
  [[nodiscard]] bool MayBegin() const { return !m_waiting.empty() && HasPlace(); }
  void BeginWaiting(Moment end);
  /// The check of `report`, which was due at `due`, begins now.
  void NoteStart(CheckEnded& report, Moment due);
  void End(Check& check, const std::string& failure) noexcept;
  void Drop(Check& check) noexcept;

  EventLoop& m_loop;
  Resolver& m_resolver;
  Hooks m_hooks;
  std::map<std::string_view, std::unique_ptr<ProbeType>> m_types;
  std::size_t m_maxInFlight;
  Schedule m_schedule;
  std::unordered_map<MonitorId, Watched> m_watched;
  Checks m_waiting;
  Checks m_inFlight;
  CheckFigures m_figures;  // counts only
  RecentMaximum<std::chrono::milliseconds> m_lateness;
};

}  // namespace norvane::engine
