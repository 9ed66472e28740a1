#include "engine/history/HistoryFile.h"

#include <algorithm>

#include "engine/history/HistoryTables.h"
#include "engine/store/StoreError.h"
#include "platform/FileNames.h"
#include "platform/Utf8.h"

namespace norvane::engine {

using namespace historytables;

namespace {

constexpr std::int64_t HistoryApplicationId = 0x4e6f7648;
constexpr std::int64_t HistoryVersion = 1;

[[noreturn]] void NoHistory(const std::string& path, const std::string& why) {
  throw StoreError(StoreErrorCode::Unreadable, path + ": " + why);
}

std::int64_t IdOf(const std::vector<std::pair<std::uint32_t, std::int64_t>>& ids, std::uint32_t number) {
  const auto at = std::ranges::lower_bound(ids, number, {}, &std::pair<std::uint32_t, std::int64_t>::first);
  return at != ids.end() && at->first == number ? at->second : 0;
}

}  // namespace

std::string HistoryFile::PathIn(const std::string& folder) {
  return platform::PathIn(folder, platform::files::History);
}

HistoryFile::HistoryFile(const std::string& folder, HistoryAges ages)
    : m_path(PathIn(folder)), m_ages(ages), m_database(m_path, Database::Mode::Create) {
  // With these a kill loses nothing that was written, and a power cut the last seconds.
  m_database.Run(
      "PRAGMA cache_size=-1024; PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA "
      "wal_autocheckpoint=250; PRAGMA journal_size_limit=4194304");
  const auto id = m_database.Number("PRAGMA application_id");
  const auto version = m_database.Number("PRAGMA user_version");
  if (id == 0 && version == 0 && m_database.Number("SELECT count(*) FROM sqlite_schema") == 0)
    MakeSchema();
  else if (id != HistoryApplicationId)
    NoHistory(m_path, "not a Norvane history");
  else if (version > HistoryVersion)
    throw NewerFile(m_path);
  m_identity = platform::FileIdentity::At(m_path.c_str());
  m_lastRow = m_database.Number("SELECT max(row) FROM fresh");
  if (const auto seen = m_database.Number("SELECT seen FROM file_state"); seen != 0)
    WriteChange(AllMonitors, {StateChange::Kind::EngineOff, FromMilliseconds(seen), {}, {}});
}

void HistoryFile::MakeSchema() {
  Transaction transaction(m_database);
  m_database.Run(
      "CREATE TABLE file_state(seen INTEGER NOT NULL)STRICT; INSERT INTO file_state VALUES(0);"
      "CREATE TABLE monitor(id INTEGER PRIMARY KEY,name TEXT NOT NULL,made INTEGER NOT NULL,"
      "removed INTEGER NOT NULL)STRICT;"
      "CREATE INDEX monitor_name ON monitor(name);"
      "CREATE TABLE fresh(part INTEGER NOT NULL,span INTEGER NOT NULL,row INTEGER NOT NULL,"
      "data BLOB NOT NULL,PRIMARY KEY(part,span,row))STRICT,WITHOUT ROWID;"
      "CREATE TABLE sums(level INTEGER NOT NULL,start INTEGER NOT NULL,monitor INTEGER NOT NULL,"
      "data BLOB NOT NULL,PRIMARY KEY(level,start,monitor))STRICT,WITHOUT ROWID;"
      "CREATE TABLE joined(part INTEGER PRIMARY KEY,day INTEGER NOT NULL)STRICT;"
      "CREATE TABLE change(monitor INTEGER NOT NULL,at INTEGER NOT NULL,row INTEGER NOT NULL,"
      "kind INTEGER NOT NULL,until INTEGER NOT NULL,reason TEXT NOT NULL,"
      "PRIMARY KEY(monitor,at,row))STRICT,WITHOUT ROWID;"
      "PRAGMA user_version=" +
      std::to_string(HistoryVersion) + ";PRAGMA application_id=" + std::to_string(HistoryApplicationId));
  transaction.Commit();
}

bool HistoryFile::IsInPlace() const {
  return platform::FileIdentity::At(m_path.c_str()) == m_identity;
}

void HistoryFile::Write(const HistoryBatch& batch) {
  Transaction transaction(m_database);
  auto ids = m_ids;
  Register(batch, ids);
  WriteResults(batch, ids);
  for (const auto& [number, change] : batch.changes) {
    if (const auto id = IdOf(ids, number); id != 0) WriteChange(id, change);
  }
  Statement remove(m_database, "UPDATE monitor SET removed=?1 WHERE id=?2");
  for (const auto number : batch.removed) {
    const auto id = IdOf(ids, number);
    if (id == 0) continue;
    remove.Bind(1, ToMilliseconds(batch.at)).Bind(2, id).Step();
    WriteChange(id, {StateChange::Kind::Stopped, batch.at, {}, {}});
    std::erase_if(ids, [&](const auto& each) { return each.first == number; });
  }
  Statement(m_database, "UPDATE file_state SET seen=max(seen,?)").Bind(1, ToMilliseconds(batch.at)).Step();
  transaction.Commit();
  m_ids = std::move(ids);
}

// Monitors

void HistoryFile::Register(const HistoryBatch& batch, Numbers& ids) {
  if (batch.monitors.empty() && !batch.isWhole) return;
  const auto before = batch.isWhole ? std::exchange(ids, {}) : Numbers();
  for (const auto& monitor : batch.monitors)
    ids.emplace_back(monitor.number, Register(monitor, batch.at));
  std::ranges::stable_sort(ids, {}, &Numbers::value_type::first);
  std::vector<std::int64_t> watched;
  for (const auto& [number, id] : ids)
    watched.push_back(id);
  std::ranges::sort(watched);
  for (const auto& [number, id] : before) {
    if (!std::ranges::binary_search(watched, id))
      WriteChange(id, {StateChange::Kind::Unwatched, batch.at, {}, {}});
  }
}

/// Gives its id.
std::int64_t HistoryFile::Register(const HistoryBatch::Monitor& monitor, Time at) {
  std::int64_t id = 0;
  {
    Statement find(m_database, "SELECT id FROM monitor WHERE name=? AND removed=0");
    if (find.Bind(1, std::string_view(monitor.name)).Step()) id = find.NumberAt(0);
  }
  if (id != 0 && monitor.isNew) {
    WriteChange(id, {StateChange::Kind::Stopped, at, {}, {}});
    Statement(m_database, "UPDATE monitor SET removed=?1 WHERE id=?2")
        .Bind(1, ToMilliseconds(at))
        .Bind(2, id)
        .Step();
    id = 0;
  }
  if (id == 0) {
    Statement(m_database, "INSERT INTO monitor(name,made,removed) VALUES(?,?,0)")
        .Bind(1, std::string_view(monitor.name))
        .Bind(2, ToMilliseconds(at))
        .Step();
    id = m_database.Number("SELECT last_insert_rowid()");
  }
  const bool wasRunning = LastState(id) != StateChange::Kind::Stopped;
  if (wasRunning != monitor.isRunning)
    WriteChange(id,
                {monitor.isRunning ? StateChange::Kind::Unwatched : StateChange::Kind::Stopped, at, {}, {}});
  return id;
}

StateChange::Kind HistoryFile::LastState(std::int64_t id) {
  Statement find(m_database, "SELECT kind FROM change WHERE monitor=? AND " + std::string(IsState) +
                                 " ORDER BY at DESC,row DESC LIMIT 1");
  return find.Bind(1, id).Step() ? static_cast<StateChange::Kind>(find.NumberAt(0))
                                 : StateChange::Kind::Stopped;
}

void HistoryFile::WriteChange(std::int64_t id, const StateChange& change) {
  Statement(m_database, "INSERT OR REPLACE INTO change VALUES(?,?,?,?,?,?)")
      .Bind(1, id)
      .Bind(2, ToMilliseconds(change.at))
      .Bind(3, ++m_lastRow)
      .Bind(4, static_cast<std::int64_t>(change.kind))
      .Bind(5, ToMilliseconds(change.until))
      .Bind(6, platform::WholeCharacters(change.reason, MaxReasonSize))
      .Step();
}

// Results

void HistoryFile::WriteResults(const HistoryBatch& batch, const Numbers& ids) {
  std::vector<std::pair<std::int64_t, HistoryBatch::Result>> results;
  results.reserve(batch.results.size());
  for (const auto& result : batch.results) {
    if (const auto id = IdOf(ids, result.number); id != 0) results.emplace_back(id, result);
  }
  std::ranges::sort(results, {}, [](const auto& each) { return each.first; });
  Statement insert(m_database, "INSERT INTO fresh VALUES(?,?,?,?)");
  for (auto next = results.begin(); next != results.end();) {
    const auto part = PartOf(next->first);
    auto last = part * PartSize;
    std::string bytes;
    while (next != results.end() && PartOf(next->first) == part) {
      const auto id = next->first;
      AnswerSums sums;
      for (; next != results.end() && next->first == id; ++next)
        next->second.isGood ? sums.AddGood(next->second.milliseconds) : sums.AddFailed();
      AppendNumber(bytes, static_cast<std::uint64_t>(id - std::exchange(last, id)));
      sums.AppendTo(bytes);
    }
    insert.Bind(1, part).Bind(2, batch.span).Bind(3, ++m_lastRow).BindBytes(4, bytes).Step();
  }
}

}  // namespace norvane::engine
