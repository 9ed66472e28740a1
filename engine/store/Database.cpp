#include "engine/store/Database.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "console/engine/Limits.h"
#include "console/engine/MonitorKeys.h"
#include "engine/store/StoreError.h"
#include "platform/FileDescriptor.h"

namespace norvane::engine {

namespace {
/// Of a whole row: the longest monitor, and as much again.
constexpr int MaxRowSize =
    static_cast<int>(2 * console::engine::KnownKeys.size() * console::engine::MaxValueSize);

StoreErrorCode CodeOf(int sqliteCode) {
  switch (sqliteCode & 0xff) {
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
    case SQLITE_ERROR:  // a table or column that should be there is not
    case SQLITE_SCHEMA:
    case SQLITE_TOOBIG:
      return StoreErrorCode::Unreadable;
    default:
      return StoreErrorCode::Failed;
  }
}

void MakePrivateFile(const std::string& path, int flags) {
  const platform::FileDescriptor file(
      ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW | flags, 0600));
  if (!file) throw SystemFailure(path, errno);
  struct stat info {};
  // SQLite would block on a FIFO.
  if (::fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode))
    throw StoreError(StoreErrorCode::Failed, path + ": not a regular file");
}

/// SQLite opens the journals that it finds beside its file, and would block on a FIFO.
void RequireRegularIfAny(const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
    throw StoreError(StoreErrorCode::Failed,
                     path + (S_ISLNK(info.st_mode) ? ": is a symbolic link" : ": not a regular file"));
}

/// Without a look at its journal.
std::string ImmutableUri(const std::string& path) {
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#')
      uri += c == '%' ? "%25" : c == '?' ? "%3f" : "%23";
    else
      uri += c;
  }
  return uri + "?immutable=1";
}

/// SQLite's refusal of links holds for folders too.
std::string WithRealFolder(const std::string& path) {
  std::error_code error;
  const std::filesystem::path file(path);
  const auto folder = std::filesystem::weakly_canonical(file.parent_path(), error);
  return error ? path : (folder / file.filename()).string();
}
}  // namespace

void Database::Close::operator()(sqlite3* db) const noexcept {
  sqlite3_close_v2(db);
}

Database::Database(const std::string& path, Mode mode) : m_path(path) {
  RequireRegularIfAny(path);
  if (mode == Mode::Create || mode == Mode::New) MakePrivateFile(path, mode == Mode::New ? O_EXCL : 0);
  const auto open = [&](const std::string& name, int flags) {
    sqlite3* db = nullptr;
    constexpr int always = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW;
    const int code = sqlite3_open_v2(name.c_str(), &db, flags | always, nullptr);
    m_db.reset(db);
    return code;
  };
  const auto name = WithRealFolder(path);
  int code = SQLITE_OK;
  if (mode == Mode::AsIs)
    code = open(ImmutableUri(name), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
  else if (code = open(name, SQLITE_OPEN_READWRITE); code != SQLITE_OK)
    code = open(name, SQLITE_OPEN_READONLY);
  if (code != SQLITE_OK) Fail();
  const char* file = sqlite3_db_filename(m_db.get(), "main");
  RequireRegularIfAny(sqlite3_filename_journal(file));
  RequireRegularIfAny(sqlite3_filename_wal(file));
  sqlite3_extended_result_codes(m_db.get(), 1);
  sqlite3_db_config(m_db.get(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(m_db.get(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  // A file from elsewhere may hold a view of endless rows in the place of a table.
  sqlite3_db_config(m_db.get(), SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_db_config(m_db.get(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_limit(m_db.get(), SQLITE_LIMIT_LENGTH, MaxRowSize);
  Run("PRAGMA locking_mode=EXCLUSIVE; PRAGMA temp_store=MEMORY; PRAGMA cache_size=-8192");
}

void Database::Fail() const {
  const int code = m_db ? sqlite3_errcode(m_db.get()) : SQLITE_NOMEM;
  const char* message = m_db ? sqlite3_errmsg(m_db.get()) : "out of memory";
  throw StoreError(CodeOf(code), m_path + ": " + message);
}

void Database::Run(const std::string& sql) {
  if (sqlite3_exec(m_db.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
}

void Database::CopyTo(const std::string& path) {
  MakePrivateFile(path, O_EXCL);
  Statement(*this, "VACUUM INTO ?").Bind(1, path).Step();
}

bool Database::IsReadOnly() const {
  return sqlite3_db_readonly(m_db.get(), "main") != 0;
}

std::int64_t Database::Changed() const {
  return sqlite3_changes64(m_db.get());
}

std::int64_t Database::Number(const std::string& sql) {
  Statement statement(*this, sql);
  return statement.Step() ? statement.NumberAt(0) : 0;
}

std::string Database::Text(const std::string& sql) {
  Statement statement(*this, sql);
  return statement.Step() ? std::string(statement.TextAt(0)) : std::string();
}

void Statement::Finalize::operator()(sqlite3_stmt* statement) const noexcept {
  sqlite3_finalize(statement);
}

Statement::Statement(Database& database, const std::string& sql) : m_database(database) {
  sqlite3_stmt* statement = nullptr;
  const int code =
      sqlite3_prepare_v2(database.m_db.get(), sql.c_str(), static_cast<int>(sql.size()), &statement, nullptr);
  m_statement.reset(statement);
  if (code != SQLITE_OK) database.Fail();
}

Statement& Statement::Bind(int position, std::string_view text) {
  // A null pointer would bind NULL instead of empty text.
  const char* data = text.data() != nullptr ? text.data() : "";
  if (sqlite3_bind_text64(m_statement.get(), position, data, text.size(), SQLITE_STATIC, SQLITE_UTF8) !=
      SQLITE_OK)
    m_database.Fail();
  return *this;
}

Statement& Statement::BindBytes(int position, std::string_view bytes) {
  const char* data = bytes.data() != nullptr ? bytes.data() : "";
  if (sqlite3_bind_blob64(m_statement.get(), position, data, bytes.size(), SQLITE_STATIC) != SQLITE_OK)
    m_database.Fail();
  return *this;
}

Statement& Statement::Bind(int position, std::int64_t number) {
  if (sqlite3_bind_int64(m_statement.get(), position, number) != SQLITE_OK) m_database.Fail();
  return *this;
}

bool Statement::Step() {
  const int code = sqlite3_step(m_statement.get());
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) m_database.Fail();
  sqlite3_reset(m_statement.get());
  return false;
}

std::string_view Statement::TextAt(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement.get(), column));
  if (text == nullptr) return {};
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

std::string_view Statement::BytesAt(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(m_statement.get(), column));
  if (bytes == nullptr) return {};
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

std::int64_t Statement::NumberAt(int column) const {
  return sqlite3_column_int64(m_statement.get(), column);
}

Transaction::Transaction(Database& database) : m_database(database) {
  database.Run("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (!m_open) return;
  try {
    m_database.Run("ROLLBACK");
  } catch (const StoreError&) {
    // Reached only while another error is on its way to the caller; closing the file rolls back as well.
  }
}

void Transaction::Commit() {
  m_database.Run("COMMIT");
  m_open = false;
}

}  // namespace norvane::engine
