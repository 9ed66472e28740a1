#include "engine/StateFile.h"

namespace norvane::engine {

std::string StateFile::PathIn(const std::string& folder) {
  return folder + "/NorvaneEngine.state";
}

StateFile::StateFile(const std::string& folder) : m_database(PathIn(folder), Database::Mode::Create) {
  m_database.Run(
      "PRAGMA journal_mode=DELETE; PRAGMA synchronous=FULL;"
      "CREATE TABLE IF NOT EXISTS config(key TEXT PRIMARY KEY,value TEXT NOT NULL) STRICT,WITHOUT ROWID");
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

}  // namespace norvane::engine
