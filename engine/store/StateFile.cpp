#include "engine/store/StateFile.h"

#include <sys/stat.h>

#include <chrono>
#include <optional>
#include <tuple>
#include <type_traits>

#include "engine/store/Checksum.h"
#include "engine/store/GoodCopy.h"
#include "engine/store/KeepAside.h"
#include "engine/store/NewFile.h"
#include "engine/store/StoreError.h"
#include "platform/FileNames.h"
#include "platform/RandomText.h"

namespace norvane::engine {

namespace {
constexpr int ApplicationId = 0x4e6f7253;  // "NorS"
constexpr int SchemaVersion = 4;
constexpr off_t MinFileSize = 512;  // of one page, the least that SQLite has

struct ServiceValue {
  std::string value{};
};

// How records lie in tables: a name and a field for each column. A change here is a new SchemaVersion.

template <class Record, class Field>
struct Column {
  const char* name;
  Field Record::*field;
};
template <class Record, class Field>
Column(const char*, Field Record::*) -> Column<Record, Field>;

template <class Record, class... Columns>
struct Table {
  const char* name;
  std::tuple<Columns...> columns;
};
template <class Record, class... Fields>
constexpr auto TableOf(const char* name, Column<Record, Fields>... columns) {
  return Table<Record, Column<Record, Fields>...>{name, std::tuple{columns...}};
}
/// `table` with columns behind its own.
template <class Record, class... Columns, class... Fields>
constexpr auto With(const Table<Record, Columns...>& table, Column<Record, Fields>... columns) {
  return Table<Record, Columns..., Column<Record, Fields>...>{
      table.name, std::tuple_cat(table.columns, std::tuple{columns...})};
}

constexpr auto ConfigTable = TableOf("config", Column{"value", &ServiceValue::value});
constexpr auto OutageTable = TableOf(
    "outage", Column{"identity", &OutageRecord::identity}, Column{"failures", &OutageRecord::failures},
    Column{"since", &OutageRecord::since}, Column{"is_open", &OutageRecord::isOpen},
    Column{"launched", &OutageRecord::launched}, Column{"message", &OutageRecord::message});
// Those of schema 3.
constexpr auto OwedTable3 =
    TableOf("owed", Column{"kind", &OwedMessage::kind}, Column{"monitor", &OwedMessage::monitor},
            Column{"exit", &OwedMessage::exit}, Column{"mode", &OwedMessage::mode},
            Column{"recipient", &OwedMessage::to}, Column{"message", &OwedMessage::message},
            Column{"body", &OwedMessage::body}, Column{"since", &OwedMessage::since},
            Column{"failing_since", &OwedMessage::failingSince}, Column{"ended_at", &OwedMessage::endedAt},
            Column{"tries", &OwedMessage::tries}, Column{"next_try", &OwedMessage::nextTry},
            Column{"reason", &OwedMessage::reason}, Column{"digest", &OwedMessage::digest});
constexpr auto SilenceTable3 =
    TableOf("silence", Column{"until", &Silence::until}, Column{"because", &Silence::because});

constexpr auto OwedTable = With(OwedTable3, Column{"recipients_left", &OwedMessage::left},
                                Column{"unanswered", &OwedMessage::unanswered});
constexpr auto SilenceTable = With(SilenceTable3, Column{"since", &Silence::since});
constexpr auto SingleMailTable =
    TableOf("single_mail", Column{"address", &SingleMail::address}, Column{"at", &SingleMail::at});

/// With each table of the file.
template <class Action>
void ForEachTable(Action action) {
  action(ConfigTable);
  action(OutageTable);
  action(OwedTable);
  action(SilenceTable);
  action(SingleMailTable);
}

template <class Record, class... Columns, class Action>
void ForEachColumn(const Table<Record, Columns...>& table, Action action) {
  std::apply([&](const auto&... column) { (action(column), ...); }, table.columns);
}

template <class Field>
constexpr bool IsText = std::is_same_v<Field, std::string>;

template <class Field>
std::int64_t ToNumber(const Field& field) {
  if constexpr (std::is_same_v<Field, std::chrono::system_clock::time_point>)
    return std::chrono::floor<std::chrono::milliseconds>(field.time_since_epoch()).count();
  else
    return static_cast<std::int64_t>(field);
}

template <class Field>
void FromNumber(std::int64_t number, Field& field) {
  if constexpr (std::is_same_v<Field, std::chrono::system_clock::time_point>)
    field = Field(std::chrono::milliseconds(number));
  else
    field = static_cast<Field>(number);
}

// A row is: id, columns, checksum.

template <class Record, class... Columns>
std::string SchemaOf(const Table<Record, Columns...>& table) {
  std::string sql = std::string("CREATE TABLE ") + table.name + "(id TEXT PRIMARY KEY";
  ForEachColumn(table, [&]<class Field>(const Column<Record, Field>& column) {
    sql += std::string(",") + column.name + (IsText<Field> ? " TEXT NOT NULL" : " INTEGER NOT NULL");
  });
  return sql + ",checksum INTEGER NOT NULL)STRICT,WITHOUT ROWID";
}

template <class Record, class... Columns>
std::string SelectFrom(const Table<Record, Columns...>& table) {
  std::string sql = "SELECT id";
  ForEachColumn(table, [&](const auto& column) { sql += std::string(",") + column.name; });
  return sql + ",checksum FROM " + table.name;
}

template <class Record, class... Columns>
std::int64_t ChecksumOf(const Table<Record, Columns...>& table, std::string_view id, const Record& record) {
  Checksum sum;
  sum.Add(std::string_view(table.name));
  sum.Add(id);
  ForEachColumn(table, [&]<class Field>(const Column<Record, Field>& column) {
    if constexpr (IsText<Field>)
      sum.Add(std::string_view(record.*column.field));
    else
      sum.Add(static_cast<std::uint64_t>(ToNumber(record.*column.field)));
  });
  return sum.Value();
}

/// What the file holds in all, and what it must hold.
struct Total {
  std::int64_t rows = 0;
  std::uint64_t sum = 0;
  bool operator==(const Total&) const = default;

  void Add(std::int64_t checksum) {
    ++rows;
    sum += static_cast<std::uint64_t>(checksum);
  }
  void Remove(std::int64_t checksum) {
    --rows;
    sum -= static_cast<std::uint64_t>(checksum);
  }
};

Total ReadTotal(Database& database) {
  Statement read(database, "SELECT rows,sum FROM file_state");
  if (!read.Step()) return {-1, 0};
  return {read.NumberAt(0), static_cast<std::uint64_t>(read.NumberAt(1))};
}

[[noreturn]] void Unreadable(const std::string& path, const std::string& why) {
  throw StoreError(StoreErrorCode::Unreadable, path + ": " + why);
}

/// `action(id, record)` for each row; gives their checksums.
template <class Record, class... Columns, class Action>
void ReadTable(Database& database, const std::string& path, const Table<Record, Columns...>& table,
               Total& total, Action action) {
  Statement rows(database, SelectFrom(table));
  while (rows.Step()) {
    Record record;
    int at = 0;
    ForEachColumn(table, [&]<class Field>(const Column<Record, Field>& column) {
      ++at;
      if constexpr (IsText<Field>)
        record.*column.field = rows.TextAt(at);
      else
        FromNumber(rows.NumberAt(at), record.*column.field);
    });
    const auto checksum = ChecksumOf(table, rows.TextAt(0), record);
    if (checksum != rows.NumberAt(at + 1))
      Unreadable(path,
                 std::string("the file is damaged: a row of ") + table.name + " does not match its checksum");
    total.Add(checksum);
    action(rows.TextAt(0), std::move(record));
  }
}

template <class Record, class... Columns>
auto MapOf(Database& database, const std::string& path, const Table<Record, Columns...>& table) {
  std::map<std::string, Record, std::less<>> records;
  Total total;
  ReadTable(database, path, table, total,
            [&](auto id, Record&& record) { records.emplace(id, std::move(record)); });
  return records;
}

std::optional<std::int64_t> NumberIn(Statement& query) {
  if (!query.Step()) return std::nullopt;
  const auto number = query.NumberAt(0);
  while (query.Step())
    ;  // ready to be run again
  return number;
}

template <class Record, class... Columns>
std::string InsertInto(const Table<Record, Columns...>& table) {
  std::string sql = std::string("INSERT OR REPLACE INTO ") + table.name + " VALUES(?,?";
  ForEachColumn(table, [&](const auto&) { sql += ",?"; });
  return sql + ")";
}

/// Changes rows, within a transaction, and keeps the total of them.
class RowWriter {
 public:
  explicit RowWriter(Database& database) : m_database(database), m_total(ReadTotal(database)) {}

  template <class Record, class... Columns>
  void Write(const Table<Record, Columns...>& table,
             const std::map<std::string, std::optional<Record>>& changes) {
    if (changes.empty()) return;
    const std::string ofId = std::string(" FROM ") + table.name + " WHERE id=?";
    Statement present(m_database, "SELECT checksum" + ofId), remove(m_database, "DELETE" + ofId),
        insert(m_database, InsertInto(table));
    for (const auto& [id, record] : changes) {
      const auto old = NumberIn(present.Bind(1, id));
      const auto checksum = record ? std::optional(ChecksumOf(table, id, *record)) : std::nullopt;
      if (checksum == old) continue;
      m_hasChanged = true;
      if (old) m_total.Remove(*old);
      if (checksum) m_total.Add(*checksum);
      if (record)
        Insert(insert, table, id, *record, *checksum);
      else
        remove.Bind(1, id).Step();
    }
  }

  /// Whether anything has changed. The total doesn't say so: what two rows add to it may cancel out.
  [[nodiscard]] bool Finish() {
    if (!m_hasChanged) return false;
    Statement update(m_database, "UPDATE file_state SET rows=?,sum=?");
    update.Bind(1, m_total.rows).Bind(2, static_cast<std::int64_t>(m_total.sum)).Step();
    return true;
  }

 private:
  template <class Record, class... Columns>
  static void Insert(Statement& insert, const Table<Record, Columns...>& table, const std::string& id,
                     const Record& record, std::int64_t checksum) {
    int at = 1;
    insert.Bind(at, id);
    ForEachColumn(table, [&]<class Field>(const Column<Record, Field>& column) {
      if constexpr (IsText<Field>)
        insert.Bind(++at, std::string_view(record.*column.field));
      else
        insert.Bind(++at, ToNumber(record.*column.field));
    });
    insert.Bind(++at, checksum).Step();
  }

  Database& m_database;
  Total m_total;
  bool m_hasChanged = false;
};

std::map<std::string, std::optional<ServiceValue>> ChangesOf(const StateFile::Values& values) {
  std::map<std::string, std::optional<ServiceValue>> changes;
  for (const auto& [key, value] : values)
    changes.emplace(key, ServiceValue{value});
  return changes;
}

void MakeSchema(Database& database) {
  ForEachTable([&](const auto& table) { database.Run(SchemaOf(table)); });
  database.Run(
      "CREATE TABLE file_state(rows INTEGER NOT NULL,sum INTEGER NOT NULL)STRICT;"
      "INSERT INTO file_state VALUES(0,0);"
      "PRAGMA application_id=" +
      std::to_string(ApplicationId));
}

void SetVersion(Database& database) {
  database.Run("PRAGMA user_version=" + std::to_string(SchemaVersion));
}

/// Whether the tables are those of this schema, and no others.
bool HasOurSchema(Database& database) {
  std::int64_t tables = 1;  // that of the file's state
  bool hasAll = true;
  Statement count(database, "SELECT count(*) FROM sqlite_schema WHERE sql=?");
  ForEachTable([&](const auto& table) {
    ++tables;
    hasAll = hasAll && NumberIn(count.Bind(1, SchemaOf(table))) == 1;
  });
  return hasAll && database.Number("SELECT count(*) FROM sqlite_schema WHERE sql IS NOT NULL") == tables;
}

/// One of a newer schema has other tables than ours.
[[noreturn]] void RefuseNewer(Database& database, const std::string& path) {
  if (HasOurSchema(database)) Unreadable(path, "the file is damaged: no such version");
  throw NewerFile(path);
}

/// Schema 0 had no checksums, and outages alone.
StateFile::Values ReadConfig0(Database& database) {
  StateFile::Values values;
  Statement rows(database, "SELECT key,value FROM config");
  while (rows.Step())
    values.emplace(rows.TextAt(0), rows.TextAt(1));
  return values;
}

OutageChanges ReadOutages0(Database& database) {
  OutageChanges outages;
  Statement rows(database, "SELECT monitor,failures,since,is_open,launched,notified FROM failing");
  while (rows.Step()) {
    OutageRecord record{platform::RandomText(8), static_cast<int>(rows.NumberAt(1))};
    FromNumber(rows.NumberAt(2), record.since);
    record.isOpen = rows.NumberAt(3) != 0;
    record.launched = static_cast<int>(rows.NumberAt(4));
    if (rows.NumberAt(5) != 0) record.message = OutageRecord::Message::Accepted;
    outages.emplace(rows.TextAt(0), record);
  }
  return outages;
}
void Migrate0(Database& database) {
  const auto values = ReadConfig0(database);
  const auto outages = ReadOutages0(database);
  database.Run("DROP TABLE config; DROP TABLE failing");
  MakeSchema(database);
  RowWriter rows(database);
  rows.Write(ConfigTable, ChangesOf(values));
  rows.Write(OutageTable, outages);
  (void)rows.Finish();
}

/// Gives a table its present columns.
template <class Old, class New>
void Widen(Database& database, const std::string& path, const Old& old, const New& table) {
  const auto records = MapOf(database, path, old);
  std::map<std::string, std::optional<typename decltype(records)::mapped_type>> removed, added;
  for (const auto& [id, record] : records) {
    removed.emplace(id, std::nullopt);
    added.emplace(id, record);
  }
  RowWriter rows(database);
  rows.Write(old, removed);
  database.Run(std::string("DROP TABLE ") + table.name);
  database.Run(SchemaOf(table));
  rows.Write(table, added);
  (void)rows.Finish();
}
}  // namespace

std::string StateFile::PathIn(const std::string& folder) {
  return platform::PathIn(folder, platform::files::EngineState);
}

StateFile::StateFile(const std::string& folder)
    : m_path(MadeIn(folder)), m_database(m_path, Database::Mode::Write) {
  const auto id = m_database.Number("PRAGMA application_id");
  const auto version = m_database.Number("PRAGMA user_version");
  if (id != ApplicationId && (id != 0 || version != 0)) Unreadable(m_path, "not a Norvane state file");
  if (const auto verdict = m_database.Text("PRAGMA quick_check(1)"); verdict != "ok")
    Unreadable(m_path, "the file is damaged: " + verdict);
  if (version > SchemaVersion) RefuseNewer(m_database, m_path);
  SetUp();
  version < SchemaVersion ? Migrate(version) : CheckAll();
}

void StateFile::SetUp() {
  m_database.Run("PRAGMA journal_mode=DELETE; PRAGMA synchronous=FULL");
  m_identity = platform::FileIdentity::At(m_path.c_str());
}

/// One killed at its first start leaves a whole file or none.
std::string StateFile::MadeIn(const std::string& folder) {
  const auto path = PathIn(folder);
  struct stat info {};
  if (::lstat(path.c_str(), &info) == 0) {
    // SQLite would take it for a new file.
    if (S_ISREG(info.st_mode) && info.st_size < MinFileSize) Unreadable(path, "cut short");
    return path;
  }
  NewFile file(path);
  {
    Database database(file.Name(), Database::Mode::New);
    Transaction transaction(database);
    MakeSchema(database);
    SetVersion(database);
    transaction.Commit();
  }
  file.Sync();
  file.PutInPlace();
  return path;
}

/// What cannot be read afterwards stays as it is.
void StateFile::Migrate(std::int64_t version) {
  Transaction transaction(m_database);
  if (version < 2) {
    Migrate0(m_database);
  } else {
    if (version < 3) m_database.Run(SchemaOf(SingleMailTable));
    Widen(m_database, m_path, OwedTable3, OwedTable);
    Widen(m_database, m_path, SilenceTable3, SilenceTable);
  }
  SetVersion(m_database);
  CheckAll();
  transaction.Commit();
}

void StateFile::CheckAll() {
  Total total;
  ForEachTable([&](const auto& table) { ReadTable(m_database, m_path, table, total, [](auto, auto&&) {}); });
  if (total != ReadTotal(m_database)) Unreadable(m_path, "the file is damaged: rows are missing");
}

StateFile::Values StateFile::Config() {
  Values values;
  for (auto& [key, each] : MapOf(m_database, m_path, ConfigTable))
    values.emplace(key, std::move(each.value));
  return values;
}

void StateFile::SetConfig(const Values& values) {
  Transaction transaction(m_database);
  RowWriter rows(m_database);
  rows.Write(ConfigTable, ChangesOf(values));
  if (!rows.Finish()) return;
  transaction.Commit();
  m_isCopied = false;
}

StateFile::Contents StateFile::Read() {
  return {MapOf(m_database, m_path, OutageTable), MapOf(m_database, m_path, OwedTable),
          MapOf(m_database, m_path, SilenceTable), MapOf(m_database, m_path, SingleMailTable)};
}

void StateFile::Write(const StateChanges& changes) {
  if (changes.IsEmpty()) return;
  Transaction transaction(m_database);
  RowWriter rows(m_database);
  rows.Write(OutageTable, changes.outages);
  rows.Write(OwedTable, changes.owed);
  rows.Write(SilenceTable, changes.silences);
  rows.Write(SingleMailTable, changes.singles);
  if (!rows.Finish()) return;
  transaction.Commit();
  m_isCopied = false;
}

std::string StateFile::ReturnToPath() {
  const auto found = platform::FileIdentity::At(m_path.c_str());
  const bool isOurs = found == m_identity;
  if (isOurs && !m_database.IsReadOnly()) return {};
  NewFile file(m_path);
  m_database.CopyTo(file.Name());
  file.Sync();
  std::string event = m_path + " was ";
  if (isOurs) {
    event += "not to be written to; written anew";
    file.PutInPlace();
  } else if (found == platform::FileIdentity()) {
    event += "removed while the engine ran; written anew";
    file.PutInPlace();
  } else {
    event +=
        "replaced while the engine ran; written anew, the other file is kept as " + KeepAside(m_path, file);
  }
  m_database = Database(m_path, Database::Mode::Write);
  SetUp();
  m_isCopied = false;
  return event;
}

void StateFile::KeepCopy() {
  if (m_isCopied) return;
  CheckAll();
  KeepGoodCopy(m_database, m_path);
  m_isCopied = true;
}

}  // namespace norvane::engine
