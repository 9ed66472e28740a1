#include "engine/store/StateFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "engine/store/StoreError.h"
#include "loopback/TempFolder.h"
#include "tests/support/Files.h"

namespace norvane::engine {
namespace {

using loopback::TempFolder;
using Time = std::chrono::system_clock::time_point;

Time At(std::int64_t milliseconds) {
  return Time(std::chrono::milliseconds(milliseconds));
}

std::string Every(char extra) {
  std::string every(1, extra);
  for (int c = 0; c < 256; ++c)
    every += static_cast<char>(c);
  return every;
}

OutageRecord Outage(int failures) {
  return {"0123456789abcdef", failures, At(1700000000123), true, 3, OutageRecord::Message::GivenUp};
}

OwedMessage Message(int tries) {
  return {OwedMessage::Kind::Recovery,
          Every('m'),
          "webhook chat",
          Every('o'),
          "ops@example.com",
          "subject\nline",
          Every('b'),
          At(1),
          At(-5),
          At(1700000000001),
          tries,
          At(1700000000777),
          "refused",
          "digest",
          "b@y.test,c@y.test",
          tries + 2};
}

StateChanges Sample(int count) {
  StateChanges changes;
  for (int i = 0; i < count; ++i) {
    const auto name = "WebMonitor Of " + std::to_string(i);
    changes.outages[name] = Outage(i);
    changes.owed["identity" + std::to_string(i)] = Message(i);
    changes.silences[name] = Silence{At(1800000000000 + i), Every('s'), At(1700000000000 - i)};
    changes.singles["identity" + std::to_string(i)] = SingleMail{Every('a'), At(1700000000000 + i)};
  }
  return changes;
}

/// The text of what the file of the folder holds, or why it cannot be read.
std::string Read(const std::string& folder) {
  try {
    StateFile file(folder);
    const auto contents = file.Read();
    std::string text;
    for (const auto& [key, value] : file.Config())
      text += key + "=" + value + "\n";
    for (const auto& [name, record] : contents.outages)
      text += name + " " + std::to_string(record.failures) + "\n";
    for (const auto& [id, owed] : contents.owed)
      text += id + owed.monitor + owed.body + std::to_string(owed.tries) + "\n";
    for (const auto& [name, silence] : contents.silences)
      text += name + silence.because + "\n";
    return text;
  } catch (const StoreError& error) {
    switch (error.Code()) {
      case StoreErrorCode::Unreadable:
        return "unreadable";
      case StoreErrorCode::Newer:
        return "newer";
      default:
        return error.what();
    }
  }
}

TEST(StateFile, GivesBackWhatWasWrittenAndForgetsWhatIsOver) {
  const TempFolder folder;
  const auto sample = Sample(3);
  {
    StateFile file(folder.Path());
    file.SetConfig({{"LogFile", Every('l')}, {"x", "1"}});
    file.SetConfig({{"x", "2"}});
    file.Write(sample);
    StateChanges changes;
    changes.outages = {{"WebMonitor Of 0", std::nullopt}, {"never there", std::nullopt}, {"new", Outage(9)}};
    changes.owed = {{"identity1", std::nullopt}, {"identity2", Message(77)}};
    changes.silences = {{"WebMonitor Of 2", std::nullopt}};
    changes.singles = {{"identity0", std::nullopt}, {"identity2", std::nullopt}};
    file.Write(changes);
  }
  StateFile file(folder.Path());
  EXPECT_EQ(file.Config(), (StateFile::Values{{"LogFile", Every('l')}, {"x", "2"}}));
  const auto contents = file.Read();
  EXPECT_EQ(
      contents.outages,
      (OutageRecords{{"WebMonitor Of 1", Outage(1)}, {"WebMonitor Of 2", Outage(2)}, {"new", Outage(9)}}));
  EXPECT_EQ(contents.owed, (OwedMessages{{"identity0", Message(0)}, {"identity2", Message(77)}}));
  EXPECT_EQ(contents.silences, (Silences{{"WebMonitor Of 0", *sample.silences.at("WebMonitor Of 0")},
                                         {"WebMonitor Of 1", *sample.silences.at("WebMonitor Of 1")}}));
  EXPECT_EQ(contents.singles, (SingleMails{{"identity1", *sample.singles.at("identity1")}}));
}

TEST(StateFile, WhatIsOnDiskAlreadyIsNotWrittenAgain) {
  const TempFolder folder;
  StateFile file(folder.Path());
  file.Write(Sample(3));
  const auto before = std::filesystem::last_write_time(StateFile::PathIn(folder.Path()));
  file.Write(Sample(3));
  file.Write({});
  EXPECT_EQ(std::filesystem::last_write_time(StateFile::PathIn(folder.Path())), before);
}

/// Rows that change alike change their checksums by much the same: these two by exactly opposite numbers.
TEST(StateFile, ChangesWhoseChecksumsCancelOutAreWritten) {
  const auto pair = [](int failures) {
    const auto record = [&](const char* identity) {
      return OutageRecord{identity, failures, At(1700000000123), true, failures, OutageRecord::Message::None};
    };
    return StateChanges{.outages = {{"WebMonitor Of a", record("b61d7f6576a9f769")},
                                    {"WebMonitor Of b", record("301a25e2d414abe6")}}};
  };
  const TempFolder folder;
  StateFile file(folder.Path());
  file.Write(pair(1));
  file.Write(pair(2));
  for (const auto& [name, record] : file.Read().outages)
    EXPECT_EQ(record, pair(2).outages.at(name));
}

TEST(StateFile, AFileOfTheFirstSchemaIsTakenOver) {
  const TempFolder folder;
  Database(StateFile::PathIn(folder.Path()), Database::Mode::Create)
      .Run(
          "CREATE TABLE config(key TEXT PRIMARY KEY,value TEXT NOT NULL)STRICT,WITHOUT ROWID;"
          "CREATE TABLE failing(monitor TEXT PRIMARY KEY,failures INTEGER NOT NULL,since INTEGER NOT NULL,"
          "is_open INTEGER NOT NULL,launched INTEGER NOT NULL,notified INTEGER NOT NULL)STRICT,WITHOUT ROWID;"
          "INSERT INTO config VALUES('ControlPass','secret');"
          "INSERT INTO failing VALUES('WebMonitor Of a',4,1700000000123,1,2,1),('WebMonitor Of "
          "b',1,5,0,0,0)");
  StateFile::Contents first;
  for (int i = 0; i < 2; ++i) {
    StateFile file(folder.Path());
    EXPECT_EQ(file.Config(), (StateFile::Values{{"ControlPass", "secret"}}));
    auto contents = file.Read();
    auto& a = contents.outages.at("WebMonitor Of a");
    EXPECT_EQ(a, (OutageRecord{a.identity, 4, At(1700000000123), true, 2, OutageRecord::Message::Accepted}));
    EXPECT_NE(a.identity, contents.outages.at("WebMonitor Of b").identity);
    if (i == 1) {
      EXPECT_EQ(contents.outages, first.outages);
    }
    first = contents;
  }
}

TEST(StateFile, FilesOfTheSecondAndThirdSchemaAreTakenOver) {
  const std::string third =
      "CREATE TABLE config(id TEXT PRIMARY KEY,value TEXT NOT NULL,checksum INTEGER NOT NULL)STRICT,WITHOUT "
      "ROWID;"
      "CREATE TABLE file_state(rows INTEGER NOT NULL,sum INTEGER NOT NULL)STRICT;"
      "CREATE TABLE outage(id TEXT PRIMARY KEY,identity TEXT NOT NULL,failures INTEGER NOT NULL,since "
      "INTEGER NOT NULL,"
      "is_open INTEGER NOT NULL,launched INTEGER NOT NULL,message INTEGER NOT NULL,checksum INTEGER NOT "
      "NULL)STRICT,"
      "WITHOUT ROWID;"
      "CREATE TABLE owed(id TEXT PRIMARY KEY,kind INTEGER NOT NULL,monitor TEXT NOT NULL,exit TEXT NOT NULL,"
      "mode TEXT NOT NULL,recipient TEXT NOT NULL,message TEXT NOT NULL,body TEXT NOT NULL,since INTEGER NOT "
      "NULL,"
      "failing_since INTEGER NOT NULL,ended_at INTEGER NOT NULL,tries INTEGER NOT NULL,next_try INTEGER NOT "
      "NULL,"
      "reason TEXT NOT NULL,digest TEXT NOT NULL,checksum INTEGER NOT NULL)STRICT,WITHOUT ROWID;"
      "CREATE TABLE silence(id TEXT PRIMARY KEY,until INTEGER NOT NULL,because TEXT NOT NULL,checksum "
      "INTEGER NOT NULL)"
      "STRICT,WITHOUT ROWID;"
      "CREATE TABLE single_mail(id TEXT PRIMARY KEY,address TEXT NOT NULL,at INTEGER NOT NULL,checksum "
      "INTEGER NOT NULL)"
      "STRICT,WITHOUT ROWID;"
      "INSERT INTO file_state VALUES(4,6106466594810275115);"
      "INSERT INTO outage VALUES('WebMonitor Of a','id',4,1700000000123,1,2,0,2238064341788204496);"
      "INSERT INTO owed VALUES('id',0,'WebMonitor Of "
      "a','','SMTP://mail;me','you@b.test','down','body\n',1700000000123,"
      "1700000000001,0,3,1700000000777,'refused','',62831664664419538);"
      "INSERT INTO silence VALUES('WebMonitor Of b',1800000000000,'disks',-6836949004093473678);"
      "INSERT INTO single_mail VALUES('id','you',1700000000000,-7804224481258426857);"
      "PRAGMA application_id=1315926611; PRAGMA user_version=3;";
  const std::string toSecond =
      "DROP TABLE single_mail; UPDATE file_state SET rows=3,sum=-4536052997640849644; PRAGMA user_version=2;";
  for (const bool isThird : {true, false}) {
    const TempFolder folder;
    Database(StateFile::PathIn(folder.Path()), Database::Mode::Create)
        .Run(isThird ? third : third + toSecond);
    for (int i = 0; i < 2; ++i) {
      const auto contents = StateFile(folder.Path()).Read();
      EXPECT_EQ(contents.outages,
                (OutageRecords{{"WebMonitor Of a", {"id", 4, At(1700000000123), true, 2}}}));
      const OwedMessage owed{.monitor = "WebMonitor Of a",
                             .mode = "SMTP://mail;me",
                             .to = "you@b.test",
                             .message = "down",
                             .body = "body\n",
                             .since = At(1700000000123),
                             .failingSince = At(1700000000001),
                             .tries = 3,
                             .nextTry = At(1700000000777),
                             .reason = "refused"};
      EXPECT_EQ(contents.owed, (OwedMessages{{"id", owed}}));
      EXPECT_EQ(contents.silences, (Silences{{"WebMonitor Of b", {At(1800000000000), "disks"}}}));
      EXPECT_EQ(contents.singles.size(), isThird ? 1u : 0u);
    }
  }
}

TEST(StateFile, WhatItCannotKnowOrTrustIsRefusedAsItIs) {
  const TempFolder folder;
  const auto path = StateFile::PathIn(folder.Path());
  StateFile(folder.Path()).Write(Sample(5));
  const auto good = tests::ReadFile(path);
  const struct {
    const char* change;
    const char* verdict;
  } rows[] = {
      {"CREATE TABLE later(x); PRAGMA user_version=5", "newer"},
      {"PRAGMA user_version=11", "unreadable"},
      {"PRAGMA user_version=2", "unreadable"},
      {"DROP TABLE single_mail; PRAGMA user_version=2", "unreadable"},
      {"PRAGMA user_version=1", "unreadable"},
      {"PRAGMA application_id=1", "unreadable"},
      {"DELETE FROM owed WHERE id='identity3'", "unreadable"},
      {"UPDATE outage SET failures=0 WHERE id='WebMonitor Of 2'", "unreadable"},
      {"UPDATE file_state SET rows=rows-1", "unreadable"},
      {"DELETE FROM file_state", "unreadable"},
      {"DROP TABLE silence", "unreadable"},
  };
  for (const auto& [change, verdict] : rows) {
    SCOPED_TRACE(change);
    tests::WriteFile(path, good);
    Database(path, Database::Mode::Write).Run(change);
    const auto bytes = tests::ReadFile(path);
    EXPECT_EQ(Read(folder.Path()), verdict);
    EXPECT_EQ(tests::ReadFile(path), bytes);
  }
}

/// A row of an earlier moment is right in itself.
TEST(StateFile, GoesBackToItsPathWithAllItHas) {
  namespace fs = std::filesystem;
  const TempFolder folder;
  const auto path = StateFile::PathIn(folder.Path());
  StateFile file(folder.Path());
  file.Write(Sample(3));
  EXPECT_EQ(file.ReturnToPath(), "");
  for (const bool isReplaced : {true, false}) {
    SCOPED_TRACE(isReplaced);
    if (isReplaced)
      fs::rename(tests::WriteFile(folder / "other", "other"), path);
    else
      fs::remove(path);
    const auto event = file.ReturnToPath();
    const auto keptAs = event.find("is kept as ");
    EXPECT_EQ(keptAs != std::string::npos, isReplaced) << event;
    EXPECT_TRUE(!isReplaced || tests::ReadFile(event.substr(keptAs + 11)) == "other");
    file.SetConfig({{"key", isReplaced ? "1" : "2"}});
    EXPECT_EQ(tests::ModeOf(path), 0600u);
  }
  const loopback::TempFolder other;
  fs::copy(path, StateFile::PathIn(other.Path()));
  StateFile copy(other.Path());
  EXPECT_EQ(copy.Read().outages.size(), 3u);
  EXPECT_EQ(copy.Config().at("key"), "2");
}

TEST(StateFile, AFileOfTwoMomentsIsRefused) {
  const TempFolder folder;
  const auto path = StateFile::PathIn(folder.Path());
  StateFile(folder.Path()).Write(Sample(5));
  tests::WriteFile(folder / "old", tests::ReadFile(path));
  StateChanges changes;
  changes.outages["WebMonitor Of 2"] = Outage(100);
  StateFile(folder.Path()).Write(changes);
  Database(path, Database::Mode::Write)
      .Run("ATTACH '" + folder / "old" +
           "' AS old;"
           "REPLACE INTO outage SELECT * FROM old.outage WHERE id='WebMonitor Of 2'");
  EXPECT_EQ(Read(folder.Path()), "unreadable");
}

TEST(StateFile, AFlippedBitOrACutIsNeverTakenForData) {
  const TempFolder folder;
  const auto path = StateFile::PathIn(folder.Path());
  {
    StateFile file(folder.Path());
    file.SetConfig({{"ControlPass", std::string(32, 'p')}});
    file.Write(Sample(20));
  }
  const auto bytes = tests::ReadFile(path), good = Read(folder.Path());
  std::mt19937 random(20260101);  // NOLINT: the same bits on every run
  int refused = 0;
  for (int i = 0; i < 440; ++i) {
    auto damaged = bytes;
    if (i < 400) {
      const auto bit = random() % (bytes.size() * 8);
      damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
      SCOPED_TRACE(bit);
    } else {
      damaged.resize(random() % bytes.size());
    }
    tests::WriteFile(path, damaged);
    std::filesystem::remove(path + "-journal");
    const auto read = Read(folder.Path());
    if (read == good)
      EXPECT_LT(i, 400) << "cut at " << damaged.size();  // else the bit lay in unused space
    else
      EXPECT_EQ(read, "unreadable");
    refused += read != good;
  }
  EXPECT_GT(refused, 150);
}

}  // namespace
}  // namespace norvane::engine
