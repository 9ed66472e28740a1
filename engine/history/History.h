#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "console/engine/MonitorHistory.h"
#include "engine/history/HistoryFile.h"
#include "engine/model/CheckResult.h"
#include "engine/model/MonitorTable.h"
#include "engine/store/Writer.h"

namespace norvane::engine {

class Health;

/// The history of the folder's monitors: gathers what happens, and answers what happened. On the service
/// thread; a thread of its own has the file, so that a slow disk keeps neither a check nor a save.
///
/// Changes of state are handed to that thread within a second, results within `MaxAge`. A file that is
/// damaged or of a newer version gets another name and is begun anew; that and a disk that refuses it are
/// reported to `health`. Nothing of it throws, but for `Read`.
class History {
 public:
  using WallClock = std::function<std::chrono::system_clock::time_point()>;
  using ReadCompletion = std::function<void(std::exception_ptr, console::engine::MonitorHistory)>;

  static constexpr std::chrono::seconds MaxAge{30};
  /// Handed over as soon as there are so many: some megabyte.
  static constexpr std::size_t MaxResults = 1 << 16;

  // Conditions.
  static constexpr std::string_view Unwritten = "history unwritten";
  static constexpr std::string_view Damaged = "history damaged";

  struct Options {
    std::string folder;
    HistoryAges ages{};
    WallClock wallClock = &std::chrono::system_clock::now;
  };

  /// `wake` is signalled when `Deliver` has something to do.
  History(Options options, platform::EventFd& wake, Health& health,
          std::function<const MonitorTable&()> table);
  /// Hands over what is left, and waits until it is written.
  ~History();
  History(const History&) = delete;
  History& operator=(const History&) = delete;

  /// A check of a running monitor that says something about the service. `isAsBefore`: so did the last one.
  void Checked(const Monitor& monitor, const CheckResult& result, bool isAsBefore, bool isOutage);
  /// One that has just been added.
  void Made(const Monitor& monitor);
  /// It runs now, or doesn't any more.
  void Switched(const Monitor& monitor);
  void Removed(const Monitor& monitor);
  void TableReplaced();
  void Silenced(const Monitor& monitor, StateChange::Time until);
  void Unsilenced(const Monitor& monitor);

  /// Asks for the history of one monitor, running or not, also of one that was removed. `done` is called
  /// within `Deliver`, with an EngineError if there is none. Throws EngineError (Failed) when too many wait.
  void Read(console::engine::HistoryQuery query, ReadCompletion done);

  /// To be called about once a second.
  void OnSecond();
  /// To be called after a signal.
  void Deliver();

 private:
  struct Keeper;

  void Add(const Monitor& monitor, StateChange change);
  void SendIfFull();
  void Send();
  void Write(std::shared_ptr<HistoryBatch> batch);
  void Written(HistoryBatch& batch, const std::exception_ptr& error);
  void RequeueFailed(HistoryBatch& batch);
  void AddAll(HistoryBatch& batch) const;
  void Join();
  void Run(std::function<void(Keeper&)> work, std::function<void(std::exception_ptr)> done);

  Options m_options;
  Health& m_health;
  std::function<const MonitorTable&()> m_table;
  std::shared_ptr<Keeper> m_keeper;  // the thread's alone
  HistoryBatch m_next;
  std::unordered_set<MonitorId> m_open;  // whose outage was noted
  std::chrono::system_clock::time_point m_nextWrite{}, m_nextJoin{};
  std::uint64_t m_lost = 0;  // results
  int m_writing = 0, m_reading = 0;
  bool m_isJoining = false;
  Writer m_writer;
};

}  // namespace norvane::engine
