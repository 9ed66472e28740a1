#include "engine/store/StateFile.h"

#include "platform/FileNames.h"

namespace norvane::engine {

std::string StateFile::PathIn(const std::string& folder) {
  return platform::PathIn(folder, platform::files::EngineState);
}

StateFile::StateFile(const std::string& folder) : m_database(PathIn(folder), Database::Mode::Create) {
  m_database.Run(
      "PRAGMA journal_mode=DELETE; PRAGMA synchronous=FULL;"
      "CREATE TABLE IF NOT EXISTS config(key TEXT PRIMARY KEY,value TEXT NOT NULL) STRICT,WITHOUT ROWID;"
      "CREATE TABLE IF NOT EXISTS failing(monitor TEXT PRIMARY KEY,failures INTEGER NOT NULL,"
      "since INTEGER NOT NULL,is_open INTEGER NOT NULL,launched INTEGER NOT NULL,notified INTEGER NOT NULL)"
      "STRICT,WITHOUT ROWID");
}

StateFile::Values StateFile::Config() {
  Values values;
  Statement rows(m_database, "SELECT key,value FROM config");
  while (rows.Step())
    values.emplace(rows.TextAt(0), rows.TextAt(1));
  return values;
}

void StateFile::SetConfig(const Values& values) {
  Transaction transaction(m_database);
  {
    Statement insert(m_database, "INSERT OR REPLACE INTO config VALUES(?,?)");
    for (const auto& [key, value] : values)
      insert.Bind(1, key).Bind(2, value).Step();
  }
  transaction.Commit();
}

StateFile::Contents StateFile::Read() {
  Contents contents;
  Statement rows(m_database, "SELECT monitor,failures,since,is_open,launched,notified FROM failing");
  while (rows.Step()) {
    const std::chrono::milliseconds since(rows.NumberAt(2));
    contents.outages.try_emplace(
        std::string(rows.TextAt(0)),
        OutageRecord{{},
                     static_cast<int>(rows.NumberAt(1)),
                     std::chrono::system_clock::time_point(since),
                     rows.NumberAt(3) != 0,
                     static_cast<int>(rows.NumberAt(4)),
                     rows.NumberAt(5) != 0 ? OutageRecord::Message::Accepted : OutageRecord::Message::None});
  }
  return contents;
}

void StateFile::Write(const StateChanges& changes) {
  Transaction transaction(m_database);
  {
    Statement insert(m_database, "INSERT OR REPLACE INTO failing VALUES(?,?,?,?,?,?)");
    Statement remove(m_database, "DELETE FROM failing WHERE monitor=?");
    for (const auto& [monitor, record] : changes.outages) {
      if (!record) {
        remove.Bind(1, monitor).Step();
        continue;
      }
      const auto since = std::chrono::floor<std::chrono::milliseconds>(record->since.time_since_epoch());
      insert.Bind(1, monitor).Bind(2, std::int64_t{record->failures}).Bind(3, std::int64_t{since.count()});
      insert.Bind(4, std::int64_t{record->isOpen}).Bind(5, std::int64_t{record->launched});
      insert.Bind(6, std::int64_t{record->message == OutageRecord::Message::Accepted}).Step();
    }
  }
  transaction.Commit();
}

}  // namespace norvane::engine
