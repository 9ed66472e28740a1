#include "engine/store/DataFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <random>

#include "engine/checks/ProbeTable.h"
#include "engine/store/Checksum.h"
#include "engine/store/Database.h"
#include "engine/store/NewFile.h"
#include "engine/store/RollbackJournal.h"
#include "engine/store/StoreError.h"
#include "loopback/TempFolder.h"
#include "tests/support/Files.h"

namespace norvane::engine {
namespace {

namespace fs = std::filesystem;
namespace keys = console::engine::keys;
using loopback::TempFolder;
using tests::ReadFile;
using tests::WriteFile;

datafile::Row RowOf(std::uint32_t number, const std::string& name, const std::string& value) {
  Attributes attributes = NewMonitorAttributes();
  attributes.Set(keys::Parameter, value);
  return {number, name, std::make_shared<const Attributes>(std::move(attributes))};
}

/// The monitors 1 to `count`, with `value` or an address each.
datafile::Changes Sample(int count, const std::string& value = "") {
  datafile::Changes changes;
  for (int i = 1; i <= count; ++i)
    changes.rows.push_back(RowOf(static_cast<std::uint32_t>(i), "WebMonitor Of " + std::to_string(i),
                                 value.empty() ? "http://www.example.com/" + std::to_string(i) : value));
  changes.total = changes.rows.size();
  return changes;
}

/// The status of a process in which `action` runs.
int StatusOf(const std::function<void()>& action) {
  const pid_t child = ::fork();
  if (child == 0) {
    action();
    ::_exit(0);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status;
}

std::string SaveOk(const std::string& path, const datafile::Changes& changes) {
  std::string keptAs;
  const auto state = datafile::Save(path, changes, ProbeTable(), &keptAs);
  EXPECT_TRUE(state.has_value());
  EXPECT_EQ(keptAs, "");
  return state.value_or("");
}

std::string Dump(const MonitorTable& table) {
  std::string text;
  for (const auto& [id, monitor] : table.All()) {
    text += std::to_string(id & 0xffffffff) + " " + monitor.name;
    for (const auto key : console::engine::KnownKeys)
      text += "|" + monitor.attributes->Get(key);
    for (const auto& [key, value] : monitor.attributes->Unknown())
      text += "|" + key + "=" + value;
    text += "\n";
  }
  return text;
}

/// What a load gives, as text: the monitors, or "unreadable", "newer", "no file".
std::string Read(const std::string& path) {
  try {
    return Dump(*datafile::Load(path, 1, ProbeTable()).table);
  } catch (const StoreError& error) {
    EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
    return error.Code() == StoreErrorCode::NoFile  ? "no file"
           : error.Code() == StoreErrorCode::Newer ? "newer"
                                                   : "unreadable";
  }
}

TEST(DataFile, GivesBackEveryByteInOrder) {
  const TempFolder folder;
  const std::string path = folder / "data";
  Attributes attributes;
  std::string every;
  for (int c = 0; c < 256; ++c)
    every += static_cast<char>(c);
  for (const auto key : console::engine::KnownKeys)
    attributes.Set(key, " " + std::string(key) + every + " ");
  attributes.Set("unknown today", every);
  attributes.Set("and another", "");
  datafile::Changes changes;
  changes.rows.push_back({9, "SmtpMonitor Of \xc3\xa4", std::make_shared<const Attributes>(attributes)});
  changes.rows.push_back(RowOf(3, "WebMonitor Of early", ""));
  changes.total = 2;
  SaveOk(path, changes);

  const auto contents = datafile::Load(path, 5, ProbeTable());
  ASSERT_EQ(contents.table->Count(), 2u);
  EXPECT_EQ(contents.table->All().begin()->second.name, "WebMonitor Of early");
  const Monitor* monitor = contents.table->Find("SmtpMonitor Of \xc3\xa4");
  ASSERT_NE(monitor, nullptr);
  EXPECT_EQ(monitor->id, (std::uint64_t{5} << 32) + 9);
  for (const auto key : console::engine::KnownKeys)
    EXPECT_EQ(monitor->attributes->Get(key), attributes.Get(key));
  EXPECT_EQ(monitor->attributes->Unknown(), attributes.Unknown());
  EXPECT_EQ(tests::ModeOf(path), 0600u);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path()), {}), 1) << "one file and nothing beside it";
}

TEST(DataFile, SavesOnlyWhatChangedAndOnlyOnTheStateItKnows) {
  const TempFolder folder;
  const std::string path = folder / "data", whole = folder / "whole";
  const auto first = SaveOk(path, Sample(5));

  datafile::Changes changes;
  changes.rows = {RowOf(2, "WebMonitor Of 2", "changed"), RowOf(7, "WebMonitor Of 7", "new")};
  changes.removed = {4};
  changes.all = false;
  changes.total = 5;
  changes.known = first;
  const auto second = SaveOk(path, changes);
  EXPECT_NE(second, first);

  auto expected = Sample(5);
  expected.rows[1] = changes.rows[0];
  expected.rows.erase(expected.rows.begin() + 3);
  expected.rows.push_back(changes.rows[1]);
  SaveOk(whole, expected);
  EXPECT_EQ(Read(path), Read(whole));
  EXPECT_EQ(datafile::Load(path, 1, ProbeTable()).state, second);

  // Somebody put another file in its place: nothing may be mixed into that.
  const auto before = Read(path);
  std::string keptAs;
  EXPECT_EQ(datafile::Save(path, changes, ProbeTable(), &keptAs), std::nullopt);
  EXPECT_EQ(Read(path), before);
}

TEST(DataFile, WhatIsNotADataFileIsRefusedAndKept) {
  const TempFolder folder;
  const std::string good = folder / "good";
  SaveOk(good, Sample(40));
  const std::string bytes = ReadFile(good);
  const auto foreign = folder / "foreign";
  Database(foreign, Database::Mode::Create).Run("CREATE TABLE monitor(number INTEGER PRIMARY KEY)");
  std::vector<std::string> files = {ReadFile(foreign),      "",
                                    "[help]\nfeedback=x\n", bytes.substr(0, bytes.size() / 2),
                                    bytes.substr(0, 100),   bytes.substr(1)};
  for (const char* change :
       {"PRAGMA user_version=99", "ALTER TABLE monitor DROP COLUMN \"Monitor_Command\"",
        "DELETE FROM monitor WHERE number=7", "UPDATE monitor SET name='no type' WHERE number=7",
        "ALTER TABLE file_state RENAME TO old; CREATE VIEW file_state AS SELECT * FROM old"}) {
    const auto changed = WriteFile(folder / "changed", bytes);
    Database(changed, Database::Mode::Write).Run(change);
    files.push_back(ReadFile(changed));
  }
  auto last = Sample(1);
  last.rows[0].number = 0xffffffff;  // the next monitor would get none
  SaveOk(folder / "last", last);
  files.push_back(ReadFile(folder / "last"));
  for (std::size_t i = 0; i < files.size(); ++i) {
    SCOPED_TRACE(i);
    const auto path = WriteFile(folder / std::to_string(i), files[i]);
    EXPECT_EQ(Read(path), "unreadable");
    EXPECT_THROW((void)datafile::Save(path, Sample(3), ProbeTable(), nullptr), StoreError);
    EXPECT_EQ(ReadFile(path), files[i]);

    std::string keptAs;
    ASSERT_TRUE(datafile::Save(path, Sample(3), ProbeTable(), &keptAs).has_value());
    EXPECT_EQ(ReadFile(keptAs), files[i]);
    EXPECT_EQ(datafile::Load(path, 1, ProbeTable()).table->Count(), 3u);
  }
  EXPECT_EQ(Read(folder / "missing"), "no file");
  EXPECT_EQ(Read(folder.Path()), "unreadable");
  std::string keptAs;
  EXPECT_THROW((void)datafile::Save(folder.Path(), Sample(3), ProbeTable(), &keptAs), StoreError);
  EXPECT_EQ(ReadFile(good), bytes) << "the folder stays where it is";
}

TEST(DataFile, AFileWithoutContentIsKeptWithItsJournal) {
  const TempFolder folder;
  const auto path = WriteFile(folder / "data", "");
  WriteFile(path + "-journal", "may mend it");
  std::string keptAs;
  ASSERT_TRUE(datafile::Save(path, Sample(3), ProbeTable(), &keptAs).has_value());
  EXPECT_EQ(ReadFile(keptAs + "-journal"), "may mend it");
}

TEST(DataFile, ANewFileIsNotMendedByTheJournalOfAnOldOne) {
  const TempFolder folder;
  const std::string path = folder / "data";
  SaveOk(path, Sample(40));
  std::string journal;
  {
    Database database(path, Database::Mode::Write);
    database.Run("PRAGMA journal_mode=DELETE; PRAGMA synchronous=OFF; BEGIN; UPDATE monitor SET name='x'");
    journal = ReadFile(path + "-journal");
  }
  fs::remove(path);
  WriteFile(path + "-journal", journal);
  SaveOk(path, Sample(3));
  EXPECT_EQ(datafile::Load(path, 1, ProbeTable()).table->Count(), 3u);
}

TEST(DataFile, WhatAKilledSaveLeftIsNotRolledBackIntoAnotherFile) {
  const TempFolder folder;
  const std::string path = folder / "data", journal = path + "-journal";
  auto changes = Sample(300, "backup");
  auto state = SaveOk(path, changes);
  const auto backup = ReadFile(path);
  changes = Sample(300, "saved");
  changes.known = state;
  changes.all = false;
  state = SaveOk(path, changes);
  const auto saved = ReadFile(path);
  std::string half, whole, rollback;
  {
    Database database(path, Database::Mode::Write);
    database.Run("PRAGMA journal_mode=DELETE; PRAGMA cache_size=1; BEGIN; UPDATE file_state SET state='" +
                 datafile::NextState(state) + "'; UPDATE monitor SET \"" + std::string(keys::Parameter) +
                 "\"='new', checksum=0");
    half = ReadFile(path);
    rollback = ReadFile(journal);
    database.Run("COMMIT");
    whole = ReadFile(path);
  }
  ASSERT_TRUE(half != saved);
  const auto newest = Dump(*datafile::Load(WriteFile(folder / "saved", saved), 1, ProbeTable()).table);
  const auto oldest = Dump(*datafile::Load(WriteFile(folder / "backup", backup), 1, ProbeTable()).table);
  for (const auto& [bytes, expected] : {std::pair(half, newest), {saved, newest}, {backup, oldest}}) {
    WriteFile(path, bytes);
    WriteFile(journal, rollback);
    const auto kept = datafile::KeepForeignRollback(path);
    EXPECT_TRUE(Read(path) == expected);
    EXPECT_EQ(kept.empty(), expected == newest);
    EXPECT_TRUE(kept.empty() || ReadFile(kept) == rollback);
  }
  WriteFile(path, whole);
  WriteFile(journal, rollback);
  EXPECT_EQ(datafile::KeepForeignRollback(path), "");
}

TEST(Database, ALinkInItsPlaceIsRefusedAndOneToItsFolderFollowed) {
  const TempFolder folder;
  fs::create_directory(folder / "real");
  fs::create_directory_symlink(folder / "real", folder / "folder");
  Database(folder / "folder/data", Database::Mode::Create).Run("CREATE TABLE t(x)");
  fs::create_symlink(folder / "real/data", folder / "link");
  fs::create_symlink(folder / "nothing", folder / "dangling");
  for (const char* link : {"link", "dangling"})
    for (const auto mode : {Database::Mode::Create, Database::Mode::New, Database::Mode::Write})
      EXPECT_THROW(Database(folder / link, mode), StoreError) << link;
  EXPECT_FALSE(fs::exists(folder / "nothing"));
}

TEST(DataFile, ALinkInItsPlaceIsPutAsideAndItsTargetLeftAlone) {
  const TempFolder folder;
  const auto target = folder / "target", link = folder / "data";
  SaveOk(target, Sample(3));
  const auto bytes = ReadFile(target);
  fs::create_symlink(target, link);
  EXPECT_EQ(Read(link), "unreadable");
  EXPECT_THROW((void)datafile::Save(link, Sample(2), ProbeTable(), nullptr), StoreError);
  std::string keptAs;
  EXPECT_TRUE(datafile::Save(link, Sample(2), ProbeTable(), &keptAs));
  EXPECT_EQ(fs::read_symlink(keptAs), target);
  EXPECT_EQ(ReadFile(target), bytes);
  EXPECT_FALSE(fs::is_symlink(link));
  EXPECT_EQ(datafile::Load(link, 1, ProbeTable()).table->Count(), 2u);
}

TEST(DataFile, OnlyWhatItsOwnSavesLeftBehindIsRemoved) {
  const TempFolder folder;
  const auto path = folder / "data";
  const auto ours = ".saving-0123456789abcdef";
  for (const auto* ending :
       {ours, ".saving-0123456789abcdef0", ".saving-by hand 16 chars", ".new", ".new-journal"})
    WriteFile(path + ending, "x");
  SaveOk(path, Sample(2));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path()), {}), 6);
  NewFile::RemoveLeftovers(path);
  EXPECT_FALSE(fs::exists(path + ours));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path()), {}), 5);
}

TEST(Database, APipeIsRefusedAndNotWaitedFor) {
  const TempFolder folder;
  const auto pipe = folder / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THROW(Database(pipe, Database::Mode::Create), StoreError);
  for (const char* ending : {"-journal", "-wal"}) {
    ASSERT_EQ(::mkfifo((folder / "data" + ending).c_str(), 0600), 0);
    EXPECT_THROW(Database(folder / "data", Database::Mode::Create), StoreError) << ending;
    fs::remove(folder / "data" + ending);
  }
}

TEST(Database, AValueLongerThanAnyOfOursIsUnreadable) {
  const TempFolder folder;
  EXPECT_THROW(Database(folder / "data", Database::Mode::Create).Run("SELECT zeroblob(500000000)"),
               StoreError);
}

TEST(DataFile, ASingleFlippedBitIsNeverTakenForData) {
  const TempFolder folder;
  const std::string path = folder / "data";
  SaveOk(path, Sample(60));
  const std::string bytes = ReadFile(path), good = Read(path);
  std::mt19937 random(20260101);  // NOLINT: the same bits on every run
  int refused = 0;
  for (int i = 0; i < 400; ++i) {
    const auto bit = random() % (bytes.size() * 8);
    SCOPED_TRACE(bit);
    std::string flipped = bytes;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
    WriteFile(path, flipped);
    const auto read = Read(path);
    if (read == "unreadable") {
      ++refused;
    } else {
      EXPECT_EQ(read, good);  // the bit lay in unused space
    }
  }
  EXPECT_GT(refused, 40);
}

/// The first version: 18 keys, here without a column for any later one.
TEST(DataFile, AFileOfAnEarlierVersionIsReadAndTheNextSaveGivesItTheNewForm) {
  const TempFolder folder;
  const auto path = folder / "data";
  std::string columns, values;
  Checksum sum;
  sum.Add(7);
  sum.Add("WebMonitor Of old");
  for (std::size_t i = 0; i < 18; ++i) {
    const std::string key(console::engine::KnownKeys[i]), value = "value of " + key;
    columns += "\"" + key + "\" TEXT NOT NULL,";
    values += "'" + value + "',";
    sum.Add(value);
  }
  // What had no column then may have one now.
  const std::string last(console::engine::KnownKeys.back()), other = last == keys::Result ? "other" : last;
  sum.Add(other);
  sum.Add("x");
  Database(path, Database::Mode::Create)
      .Run("CREATE TABLE monitor(number INTEGER PRIMARY KEY,name TEXT NOT NULL," + columns +
           "checksum INTEGER NOT NULL)STRICT;"
           "CREATE TABLE monitor_other(number INTEGER NOT NULL,key TEXT NOT NULL,value TEXT NOT NULL,"
           "PRIMARY KEY(number,key))STRICT,WITHOUT ROWID;"
           "CREATE TABLE file_state(state TEXT NOT NULL,monitors INTEGER NOT NULL)STRICT;"
           "INSERT INTO file_state VALUES('first',1);"
           "PRAGMA application_id=1315926646;PRAGMA user_version=1;"
           "INSERT INTO monitor VALUES(7,'WebMonitor Of old'," +
           values + std::to_string(sum.Value()) + ");INSERT INTO monitor_other VALUES(7,'" + other +
           "','x')");
  const auto before = Read(path);
  const auto contents = datafile::Load(path, 1, ProbeTable());
  const Monitor* old = contents.table->Find("WebMonitor Of old");
  ASSERT_NE(old, nullptr) << before;
  EXPECT_EQ(old->attributes->Get(keys::Status), "value of Status");
  EXPECT_EQ(old->attributes->Get(other), "x");

  datafile::Changes changes;
  changes.all = false;
  changes.known = contents.state;
  changes.rows = {RowOf(8, "WebMonitor Of new", "")};
  changes.total = 2;
  std::string keptAs;
  if (!datafile::Save(path, changes, ProbeTable(), &keptAs)) {
    changes.all = true;
    changes.rows.insert(changes.rows.begin(), {7, old->name, old->attributes});
    SaveOk(path, changes);
  }
  EXPECT_EQ(Read(path), before + Read(path).substr(before.size()));
  EXPECT_EQ(datafile::Load(path, 1, ProbeTable()).table->Count(), 2u);
  const auto saved = Sample(1);
  SaveOk(folder / "today", saved);
  const auto version = [](const std::string& file) {
    return Database(file, Database::Mode::Write).Number("PRAGMA user_version");
  };
  EXPECT_EQ(version(path), version(folder / "today"));
}

TEST(DataFile, AFailedSaveLeavesTheOldState) {
  const TempFolder folder;
  const std::string path = folder / "data";
  SaveOk(path, Sample(3));
  const auto before = Read(path);
  std::string keptAs;
  EXPECT_THROW((void)datafile::Save(folder / "no such folder/data", Sample(1), ProbeTable(), &keptAs),
               StoreError);
  // A full disk, as far as this process goes: no file may grow beyond a few pages.
  const auto status = StatusOf([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{16384, 16384};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    try {
      (void)datafile::Save(path, Sample(500), ProbeTable(), &keptAs);
      ::_exit(1);
    } catch (const StoreError&) {
    }
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Read(path), before);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path()), {}), 1) << "nothing half written stays";
}

/// A child saves changing states, sometimes few changes and sometimes all, until it is killed.
TEST(DataFile, AKilledSaveLeavesTheOldOrTheNewState) {
  const TempFolder folder;
  const std::string path = folder / "data";
  constexpr int Monitors = 300;
  // Every state of the file gives the same value to all rows: a mixture would show.
  SaveOk(path, Sample(Monitors, "0"));
  for (int round = 0; round < 25; ++round) {
    SCOPED_TRACE(round);
    const auto status = StatusOf([&] {
      // The alarm ends the process as hard as a SIGKILL would, anywhere within a save.
      ::ualarm(static_cast<useconds_t>(20000 + round * 1137), 0);
      std::optional<std::string> state;
      std::string keptAs;
      for (int generation = 1;; ++generation) {
        auto changes = Sample(Monitors, std::to_string(generation));
        changes.known = state;
        changes.all = generation % 2 == 0;
        state = datafile::Save(path, changes, ProbeTable(), &keptAs);
      }
    });
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM);

    EXPECT_EQ(datafile::KeepForeignRollback(path), "");
    const auto contents = datafile::Load(path, 1, ProbeTable());
    ASSERT_EQ(contents.table->Count(), static_cast<std::size_t>(Monitors));
    const auto& value = contents.table->All().begin()->second.attributes->Get(keys::Parameter);
    for (const auto& [id, monitor] : contents.table->All())
      ASSERT_EQ(monitor.attributes->Get(keys::Parameter), value);
  }
}

}  // namespace
}  // namespace norvane::engine
