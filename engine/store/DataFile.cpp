#include "engine/store/DataFile.h"

#include <sys/stat.h>

#include <cerrno>

#include "console/engine/EngineError.h"
#include "engine/store/Checksum.h"
#include "engine/store/Database.h"
#include "engine/store/GoodCopy.h"
#include "engine/store/KeepAside.h"
#include "engine/store/NewFile.h"
#include "engine/store/RollbackJournal.h"
#include "engine/store/StoreError.h"

namespace norvane::engine::datafile {

using console::engine::KnownKeys;

namespace {
constexpr int ApplicationId = 0x4e6f7276;  // "Norv"
/// Each key that comes to the end of `KnownKeys` makes a new version.
constexpr std::size_t KeysOfVersion1 = 18;
constexpr std::int64_t SchemaVersion = KnownKeys.size() - KeysOfVersion1 + 1;
constexpr int FirstKeyColumn = 2;  // behind number and name
constexpr int OurColumnCount = FirstKeyColumn + static_cast<int>(KnownKeys.size()) + 1;
/// Leaves numbers for the monitors to come, which count on from the last one.
constexpr std::int64_t LastNumber = 0x7fffffff;

[[noreturn]] void Unreadable(const std::string& path, const std::string& why) {
  throw StoreError(StoreErrorCode::Unreadable, path + ": " + why);
}

/// The first known keys as quoted column names, each behind a comma, followed by `after`.
std::string KeyColumns(const std::string& after, std::size_t count = KnownKeys.size()) {
  std::string columns;
  for (std::size_t i = 0; i < count; ++i)
    columns += ",\"" + std::string(KnownKeys[i]) + "\"" + after;
  return columns;
}

/// How many of the known keys were known when the file was made.
std::size_t KeyCount(Database& database) {
  return KeysOfVersion1 - 1 + static_cast<std::size_t>(database.Number("PRAGMA user_version"));
}

/// Of the monitors' table: a newer file has more.
std::int64_t ColumnCount(Database& database) {
  return database.Number("SELECT count(*) FROM pragma_table_info('monitor')");
}

std::string Schema() {
  return "CREATE TABLE monitor(number INTEGER PRIMARY KEY,name TEXT NOT NULL" + KeyColumns(" TEXT NOT NULL") +
         ",checksum INTEGER NOT NULL) STRICT;"
         "CREATE TABLE monitor_other(number INTEGER NOT NULL,key TEXT NOT NULL,value TEXT NOT NULL,"
         "PRIMARY KEY(number,key)) STRICT,WITHOUT ROWID;"
         "CREATE TABLE file_state(state TEXT NOT NULL,monitors INTEGER NOT NULL) STRICT;"
         "INSERT INTO file_state VALUES('',0);"
         "PRAGMA application_id=" +
         std::to_string(ApplicationId) + ";PRAGMA user_version=" + std::to_string(SchemaVersion);
}

/// `keyCount` of the known keys have columns, `others` are the further ones.
std::int64_t ChecksumOf(const Row& row, std::size_t keyCount, const Attributes::Others& others) {
  Checksum sum;
  sum.Add(row.number);
  sum.Add(row.name);
  for (std::size_t i = 0; i < keyCount; ++i)
    sum.Add(row.attributes->At(i));
  for (const auto& [key, value] : others) {
    sum.Add(key);
    sum.Add(value);
  }
  return sum.Value();
}

/// Writes rows of monitors; one statement each, prepared once.
class RowWriter {
 public:
  explicit RowWriter(Database& database)
      : m_insert(database, "INSERT OR REPLACE INTO monitor(number,name" + KeyColumns("") +
                               ",checksum)VALUES(?,?" + Marks() + ",?)"),
        m_insertOther(database, "INSERT INTO monitor_other VALUES(?,?,?)"),
        m_remove(database, "DELETE FROM monitor WHERE number=?"),
        m_removeOther(database, "DELETE FROM monitor_other WHERE number=?") {}

  void Write(const Row& row) {
    const Attributes& attributes = *row.attributes;
    m_insert.Bind(1, std::int64_t{row.number}).Bind(2, row.name);
    for (std::size_t i = 0; i < KnownKeys.size(); ++i)
      m_insert.Bind(static_cast<int>(i) + FirstKeyColumn + 1, attributes.At(i));
    m_insert.Bind(static_cast<int>(KnownKeys.size()) + FirstKeyColumn + 1,
                  ChecksumOf(row, KnownKeys.size(), attributes.Unknown()));
    m_insert.Step();
    m_removeOther.Bind(1, std::int64_t{row.number}).Step();
    for (const auto& [key, value] : attributes.Unknown())
      m_insertOther.Bind(1, std::int64_t{row.number}).Bind(2, key).Bind(3, value).Step();
  }

  void Remove(std::uint32_t number) {
    m_remove.Bind(1, std::int64_t{number}).Step();
    m_removeOther.Bind(1, std::int64_t{number}).Step();
  }

 private:
  static std::string Marks() {
    std::string marks;
    for (std::size_t i = 0; i < KnownKeys.size(); ++i)
      marks += ",?";
    return marks;
  }
  Statement m_insert, m_insertOther, m_remove, m_removeOther;
};

/// Writes the changes and the new state's name; gives that name.
std::string WriteChanges(Database& database, const Changes& changes) {
  std::string state = changes.next.empty() ? NextState(changes.known) : changes.next;
  // First, so that SQLite's journal begins with it, and says of which file it is.
  Statement update(database, "UPDATE file_state SET state=?,monitors=?");
  update.Bind(1, state).Bind(2, static_cast<std::int64_t>(changes.total)).Step();
  RowWriter writer(database);
  for (const auto number : changes.removed)
    writer.Remove(number);
  for (const auto& row : changes.rows)
    writer.Write(row);
  return state;
}

/// A folder or a device isn't ours to put aside.
void RequireFile(const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISLNK(info.st_mode))
    throw StoreError(StoreErrorCode::Failed, path + ": not a regular file");
}

/// Opens an existing file and makes sure that it is a data file of a version that we understand.
Database OpenOurs(const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) {
    if (errno == ENOENT) throw StoreError(StoreErrorCode::NoFile, path + ": no such file");
    throw SystemFailure(path, errno);
  }
  if (S_ISLNK(info.st_mode)) Unreadable(path, "is a symbolic link");
  if (!S_ISREG(info.st_mode)) Unreadable(path, "not a regular file");
  if (info.st_size == 0) Unreadable(path, "the file is empty");
  Database database(path, Database::Mode::Write);
  if (database.Number("PRAGMA application_id") != ApplicationId) Unreadable(path, "not a Norvane data file");
  const auto version = database.Number("PRAGMA user_version");
  if (version > SchemaVersion && ColumnCount(database) > OurColumnCount) throw NewerFile(path);
  if (version < 1 || version > SchemaVersion) Unreadable(path, "the file is damaged: no such version");
  return database;
}

std::string StateIn(Database& database) {
  return database.Text("SELECT state FROM file_state");
}

/// Writes a whole new file. The old one gets another name if `keptAs` is given.
std::string SaveAll(const std::string& path, const Changes& changes, std::string* keptAs) {
  NewFile file(path);
  std::string state;
  {
    Database database(file.Name(), Database::Mode::New);
    // Until the rename nobody reads this file: no journal on disk is needed, and one fsync at the end is
    // enough.
    database.Run("PRAGMA page_size=8192; PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF");
    Transaction transaction(database);
    database.Run(Schema());
    state = WriteChanges(database, changes);
    transaction.Commit();
  }
  file.Sync();
  if (keptAs != nullptr)
    *keptAs = KeepAside(path, file);
  else
    file.PutInPlace();
  return state;
}

std::string SaveChanged(Database& database, const Changes& changes) {
  database.Run("PRAGMA journal_mode=DELETE; PRAGMA synchronous=FULL");
  Transaction transaction(database);
  std::string state = WriteChanges(database, changes);
  transaction.Commit();
  return state;
}

Attributes::Others OthersAt(Statement& others, std::uint32_t number, bool& more) {
  Attributes::Others result;
  for (; more && others.NumberAt(0) <= number; more = others.Step()) {
    if (others.NumberAt(0) == number) result.emplace(others.TextAt(1), others.TextAt(2));
  }
  return result;
}

void ReadRows(Database& database, const std::string& path, MonitorTable& table) {
  const auto keyCount = KeyCount(database);
  Statement rows(database,
                 "SELECT number,name" + KeyColumns("", keyCount) + ",checksum FROM monitor ORDER BY number");
  Statement others(database, "SELECT number,key,value FROM monitor_other ORDER BY number");
  bool moreOthers = others.Step();
  while (rows.Step()) {
    if (rows.NumberAt(0) < 1 || rows.NumberAt(0) > LastNumber)
      Unreadable(path, "monitor number out of range");
    const auto attributes = std::make_shared<Attributes>();
    const Row row{static_cast<std::uint32_t>(rows.NumberAt(0)), std::string(rows.TextAt(1)), attributes};
    for (std::size_t i = 0; i < keyCount; ++i)
      attributes->SetAt(i, std::string(rows.TextAt(static_cast<int>(i) + FirstKeyColumn)));
    const auto otherValues = OthersAt(others, row.number, moreOthers);
    if (ChecksumOf(row, keyCount, otherValues) != rows.NumberAt(static_cast<int>(keyCount) + FirstKeyColumn))
      Unreadable(path, "the file is damaged: the monitor " + std::to_string(row.number) +
                           " does not match its checksum");
    for (const auto& [key, value] : otherValues)
      attributes->Set(key, value);
    table.Add(row.name, std::move(*attributes), row.number);
  }
}

Contents ReadAll(Database& database, const std::string& path, std::uint32_t generation, MonitorTypes types) {
  if (const auto verdict = database.Text("PRAGMA quick_check(1)"); verdict != "ok")
    Unreadable(path, "the file is damaged: " + verdict);
  Contents contents{std::make_unique<MonitorTable>(generation, types), StateIn(database)};
  try {
    ReadRows(database, path, *contents.table);
  } catch (const console::engine::EngineError& error) {
    Unreadable(path, std::string("the file is damaged: ") + error.what());
  }
  if (database.Number("SELECT monitors FROM file_state") !=
      static_cast<std::int64_t>(contents.table->Count()))
    Unreadable(path, "the file is damaged: monitors are missing");
  return contents;
}
}  // namespace

Contents Load(const std::string& path, std::uint32_t generation, MonitorTypes types) {
  Database database = OpenOurs(path);
  return ReadAll(database, path, generation, types);
}

void KeepCopy(const std::string& path, MonitorTypes types) {
  const auto copy = GoodCopyOf(path);
  Database database = OpenOurs(path);
  try {
    if (StateOf(copy) == StateIn(database)) return;
  } catch (const StoreError& error) {
    if (error.Code() == StoreErrorCode::Failed) throw;
  }
  const auto contents = ReadAll(database, path, 0, types);
  if (contents.table->Count() == 0 && Exists(copy)) return;
  KeepGoodCopy(database, path);
}

std::string StateOf(const std::string& path) {
  Database database = OpenOurs(path);
  return StateIn(database);
}

std::optional<std::string> Save(const std::string& path, const Changes& changes, MonitorTypes types,
                                std::string* keptAs) {
  RequireFile(path);
  bool isReadable = Exists(path) || !Exists(GoodCopyOf(path));
  if (Exists(path)) {
    try {
      Database database = OpenOurs(path);
      const bool isKnown = changes.known && StateIn(database) == *changes.known;
      if (!changes.all && isKnown && KeyCount(database) == KnownKeys.size())
        return SaveChanged(database, changes);
      // Only a file that we could have loaded may be replaced.
      if (changes.all && !isKnown) (void)ReadAll(database, path, 0, types);
    } catch (const StoreError& error) {
      if (error.Code() == StoreErrorCode::Failed) throw;
      if (keptAs == nullptr)
        throw StoreError(StoreErrorCode::Unreadable, path + " exists and is not a data file");
      isReadable = false;
    }
  }
  if (!changes.all) return std::nullopt;
  return SaveAll(path, changes, isReadable ? nullptr : keptAs);
}

}  // namespace norvane::engine::datafile
