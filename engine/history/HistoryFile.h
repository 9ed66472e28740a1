#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "console/engine/MonitorHistory.h"
#include "engine/history/AnswerSums.h"
#include "engine/history/StateTimeline.h"
#include "engine/store/Database.h"
#include "platform/FileIdentity.h"

namespace norvane::engine {

/// What happened since the last one. Monitors are called by the lower half of their ids.
struct HistoryBatch {
  struct Monitor {
    std::uint32_t number = 0;
    std::string name{};
    bool isNew = false;  ///< has nothing to do with a former one of its name
    bool isRunning = false;
  };
  struct Result {
    std::uint32_t number = 0;
    std::uint32_t milliseconds : 31 = 0;
    std::uint32_t isGood : 1 = 0;
  };
  struct Change {
    std::uint32_t number = 0;
    StateChange change{};
  };

  std::vector<Monitor> monitors{};
  bool isWhole = false;    ///< `monitors` are all there are: numbers of before mean nothing more
  StateChange::Time at{};  ///< when it was handed over
  std::int64_t span = 0;   ///< of the results: 5 minutes, counted from the epoch
  std::vector<Result> results{};
  std::vector<Change> changes{};
  std::vector<std::uint32_t> removed{};
};

/// How long sums are kept; changes of state and removed monitors as long as sums of days.
struct HistoryAges {
  std::chrono::days minutes{8};  ///< of 5 minutes
  std::chrono::days hours{400};
  std::chrono::days days{3650};
  bool operator==(const HistoryAges&) const = default;
};

/// The history of all monitors that were ever in the folder: a SQLite file with a write-ahead log, which a
/// killed process leaves whole. For one thread. Throws StoreError: Unreadable for what is damaged, too.
///
/// `fresh` has the sums of the running hour as they came, those of 256 monitors in a row. `Join` turns those
/// of a finished hour into one row of `sums` for each monitor (level 0: an hour in 5 minutes), and those of a
/// finished day into two (1: a day in hours, 2: a day).
class HistoryFile {
 public:
  using Time = StateChange::Time;
  static constexpr std::chrono::seconds Span = std::chrono::minutes(5);
  /// A monitor keeps the last ones.
  static constexpr std::int64_t MaxChanges = 8000;
  static constexpr std::size_t MaxReasonSize = 200;

  [[nodiscard]] static std::string PathIn(const std::string& folder);
  /// Makes the file if there is none. When it was last written, the last engine ended.
  HistoryFile(const std::string& folder, HistoryAges ages);

  /// All of it or nothing.
  void Write(const HistoryBatch& batch);
  /// A step of joining what is finished and of removing what is too old. True: there is more to do.
  bool Join(Time now);
  /// Throws EngineError (NotFound).
  [[nodiscard]] console::engine::MonitorHistory Read(const console::engine::HistoryQuery& query, Time now);

  /// The file lies at its path.
  [[nodiscard]] bool IsInPlace() const;

 private:
  using Numbers = std::vector<std::pair<std::uint32_t, std::int64_t>>;  // number and id, by number

  void MakeSchema();
  void Register(const HistoryBatch& batch, Numbers& ids);
  std::int64_t Register(const HistoryBatch::Monitor& monitor, Time at);
  [[nodiscard]] StateChange::Kind LastState(std::int64_t id);
  void WriteChange(std::int64_t id, const StateChange& change);
  void WriteResults(const HistoryBatch& batch, const Numbers& ids);

  bool JoinHours(std::int64_t hour);
  void JoinHour(std::int64_t part, std::int64_t hour);
  bool JoinDays(std::int64_t day);
  void JoinDay(std::int64_t part, std::int64_t day);
  void TrimChanges(std::int64_t part, std::int64_t oldest);
  bool RemoveOld(Time now);

  std::string m_path;
  HistoryAges m_ages;
  Database m_database;
  platform::FileIdentity m_identity;
  Numbers m_ids;
  std::int64_t m_lastRow = 0;      // of `fresh`, and of `change`
  std::int64_t m_joinedUntil = 0;  // hours since the epoch
  bool m_hasJoinedHours = false;
};

}  // namespace norvane::engine
