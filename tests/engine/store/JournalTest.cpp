#include "engine/store/Journal.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "engine/store/StoreError.h"
#include "loopback/TempFolder.h"
#include "tests/engine/TestEngine.h"
#include "tests/support/Files.h"

namespace norvane::engine {
namespace {

namespace fs = std::filesystem;
namespace keys = console::engine::keys;
using tests::TestEngine;

datafile::Changes BatchOf(std::uint32_t number) {
  Attributes attributes = NewMonitorAttributes();
  attributes.Set(keys::Parameter, std::string("a\0b", 3) + std::to_string(number));
  attributes.Set("unknown today", "x");
  datafile::Changes batch;
  batch.all = false;
  batch.rows = {{number, "WebMonitor Of " + std::to_string(number),
                 std::make_shared<const Attributes>(std::move(attributes))}};
  batch.removed = {number + 1000};
  return batch;
}

/// The batches that a journal gives, as text, and whether it said that something is damaged.
struct Read {
  std::string batches;
  bool isDamaged = false;
  bool continuesFile = false;
};

Read ReadAt(const std::string& path, const std::string& state = "state") {
  const auto contents = Journal(path).Read(state);
  if (!contents) return {"none"};
  Read read{"", !contents->damage.empty(), contents->continuesFile};
  for (const auto& batch : contents->batches) {
    if (batch.all) read.batches += "all ";
    for (const auto number : batch.removed)
      read.batches += "-" + std::to_string(number) + " ";
    for (const auto& row : batch.rows)
      read.batches += row.name + "=" + row.attributes->Get(keys::Parameter).substr(3) + "," +
                      row.attributes->Get("unknown today") + " ";
    read.batches += "; ";
  }
  return read;
}

/// Writes the batches 1 to `count`.
std::string JournalOf(const std::string& path, std::uint32_t count) {
  Journal journal(path);
  EXPECT_FALSE(journal.Read("state"));
  for (std::uint32_t i = 1; i <= count; ++i)
    journal.Write(BatchOf(i), false);
  return tests::ReadFile(path);
}

TEST(Journal, ACutLosesBatchesAtTheEndOnlyAndTheNextOneFollowsTheRest) {
  const loopback::TempFolder folder;
  const auto path = folder / "journal";
  const auto bytes = JournalOf(path, 3);
  EXPECT_EQ(tests::ModeOf(path), 0600u);
  const auto all = ReadAt(path).batches;
  std::size_t last = 0;
  for (std::size_t size = bytes.size() % 11; size <= bytes.size(); size += 11) {
    SCOPED_TRACE(size);
    tests::WriteFile(path, bytes.substr(0, size));
    const auto read = ReadAt(path);
    if (read.isDamaged) {
      EXPECT_EQ(last, 0u) << "only the header is ever whole";
      continue;
    }
    EXPECT_TRUE(all.starts_with(read.batches));
    EXPECT_GE(read.batches.size(), last);
    last = read.batches.size();
    if (size % 5 == 0) {
      Journal journal(path);
      ASSERT_TRUE(journal.Read("state"));
      journal.Write(BatchOf(9), false);
      EXPECT_NE(ReadAt(path).batches.find("Of 9="), std::string::npos);
      EXPECT_TRUE(ReadAt(path).batches.starts_with(read.batches));
    }
  }
  EXPECT_EQ(last, all.size());
}

TEST(Journal, AFlippedBitIsToldAndEndsTheReplay) {
  const loopback::TempFolder folder;
  const auto path = folder / "journal";
  const auto bytes = JournalOf(path, 3);
  const auto all = ReadAt(path).batches;
  for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 61) {
    SCOPED_TRACE(bit);
    auto flipped = bytes;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
    tests::WriteFile(path, flipped);
    const auto read = ReadAt(path);
    EXPECT_TRUE(read.isDamaged);
    EXPECT_TRUE(all.starts_with(read.batches));
    EXPECT_LT(read.batches.size(), all.size());
  }
}

TEST(Journal, IsOfOneStateOfTheDataFileAndOfTheOneThatItsSaveGives) {
  const loopback::TempFolder folder;
  const auto path = folder / "journal";
  Journal journal(path);
  EXPECT_FALSE(journal.Read("state"));
  journal.Write(BatchOf(1), false);
  journal.NoteSave("next");
  journal.Write(BatchOf(2), false);
  EXPECT_TRUE(ReadAt(path, "state").batches.starts_with("-1001 WebMonitor Of 1"));
  EXPECT_TRUE(ReadAt(path, "next").batches.starts_with("-1002 WebMonitor Of 2"));
  EXPECT_FALSE(ReadAt(path, "other").continuesFile);
  EXPECT_EQ(ReadAt(path, "other").batches, "");
  auto whole = BatchOf(3);
  whole.all = true;
  journal.Write(whole, false);
  EXPECT_TRUE(ReadAt(path).batches.starts_with("all -1003 WebMonitor Of 3"));
  journal.Begin("next");
  EXPECT_EQ(ReadAt(path).batches, "none");
}

// With a service

class JournalStory : public ::testing::Test {
 protected:
  JournalStory() { Start(); }
  /// The engine ends as if killed, and another one begins.
  void Start() {
    m_engine.reset();
    m_engine = std::make_unique<TestEngine>(m_folder.Path(), [this] { return m_now; });
  }
  /// What there is goes to the journal, as within a second.
  void Keep() {
    m_now += std::chrono::milliseconds(450);
    m_engine->service.KeepChanges();
    EXPECT_EQ(m_engine->Commit("x", std::to_string(++m_commits)), std::nullopt);
  }
  void KeepAndKill() {
    Keep();
    Start();
  }
  void Set(const std::string& name, std::string_view key, const std::string& value) {
    m_engine->service.Set(m_engine->service.Table().Find(name)->id, key, value);
  }
  void Remove(const std::string& name) { m_engine->service.Remove(m_engine->service.Table().Find(name)->id); }
  /// "name=parameter" of all monitors.
  std::string Monitors() {
    std::string text;
    for (const auto& [id, monitor] : m_engine->service.Table().All())
      text += monitor.name.substr(14) + "=" + monitor.attributes->Get(keys::Parameter) + " ";
    return text;
  }
  bool HasCondition(const std::string& part) {
    return std::ranges::any_of(m_engine->Conditions(),
                               [&](const auto& text) { return text.find(part) != std::string::npos; });
  }

  /// Under another name.
  bool IsKept(const std::string& journal) {
    return std::ranges::any_of(fs::directory_iterator(m_folder.Path()), [&](const auto& entry) {
      return entry.path().string().starts_with(m_journal + ".") && tests::ReadFile(entry.path()) == journal;
    });
  }

  const loopback::TempFolder m_folder;
  const std::string m_data = m_folder / "NorvaneEngine.dat", m_journal = m_folder / "NorvaneEngine.journal";
  std::chrono::steady_clock::time_point m_now = std::chrono::steady_clock::now();
  std::unique_ptr<TestEngine> m_engine;
  int m_commits = 0;
};

TEST_F(JournalStory, WhatChangedIsThereAfterEachKill) {
  m_engine->Add("WebMonitor Of a", "Enable");
  m_engine->Add("WebMonitor Of b");
  KeepAndKill();
  EXPECT_EQ(Monitors(), "a= b= ") << "without a data file";
  EXPECT_EQ(m_engine->checks->calls, (std::vector<std::string>{"Start WebMonitor Of a 0"}));
  EXPECT_TRUE(HasCondition("not ended in order"));
  Set("WebMonitor Of a", keys::Parameter, "1");
  EXPECT_EQ(m_engine->Save(m_data), std::nullopt);
  EXPECT_FALSE(fs::exists(m_journal));
  Set("WebMonitor Of a", "unknown", "x");
  Set("WebMonitor Of a", keys::Parameter, "2");
  Keep();
  Remove("WebMonitor Of b");
  m_engine->Add("WebMonitor Of b");
  Set("WebMonitor Of b", keys::Parameter, "new");
  KeepAndKill();
  EXPECT_EQ(Monitors(), "a=2 b=new ");
  // A console that starts loads the data file: it is the one whose monitors these are.
  EXPECT_EQ(m_engine->Load(m_data), std::nullopt);
  EXPECT_EQ(Monitors(), "a=2 b=new ");
  Start();
  EXPECT_EQ(Monitors(), "a=2 b=new ") << "nothing was saved meanwhile";
  EXPECT_EQ(m_engine->Attr("WebMonitor Of a", "unknown"), "x");
  EXPECT_EQ(m_engine->Save(m_data), std::nullopt);
  EXPECT_EQ(m_engine->Save(m_folder / "copy"), std::nullopt);
  Remove("WebMonitor Of a");
  EXPECT_EQ(m_engine->Shutdown(), std::nullopt);
  EXPECT_FALSE(fs::exists(m_journal));
  Start();
  EXPECT_EQ(Monitors(), "b=new ");
}

TEST_F(JournalStory, ResultsAndSavedChangesWriteNothing) {
  const auto id = m_engine->Add("WebMonitor Of a", "Enable");
  EXPECT_EQ(m_engine->Save(m_data), std::nullopt);
  m_engine->service.Set(id, keys::Result, "down");
  Keep();
  EXPECT_FALSE(fs::exists(m_journal));
}

TEST_F(JournalStory, ALoadedFileRunsAgainAndTheDataFileStaysAsItWas) {
  m_engine->Add("WebMonitor Of backup");
  EXPECT_EQ(m_engine->Save("backup.dat"), std::nullopt);
  m_engine->Add("WebMonitor Of own");
  EXPECT_EQ(m_engine->Save(m_data), std::nullopt);
  EXPECT_EQ(m_engine->Load("backup.dat"), std::nullopt);
  Keep();
  m_engine->Add("WebMonitor Of later");
  KeepAndKill();
  EXPECT_EQ(Monitors(), "backup= later= ");
  // A console that starts.
  const auto loadIfReplaced = [&](Completion done) { m_engine->service.LoadIfReplaced(std::move(done)); };
  EXPECT_EQ(m_engine->Await(loadIfReplaced), std::nullopt);
  EXPECT_EQ(Monitors(), "backup= later= ");
  EXPECT_EQ(m_engine->Load(m_data), std::nullopt);
  EXPECT_EQ(Monitors(), "backup= own= ");
  KeepAndKill();
  EXPECT_EQ(Monitors(), "backup= own= ");
}

TEST_F(JournalStory, ADataFileThatWasReplacedCounts) {
  m_engine->Add("WebMonitor Of old");
  EXPECT_EQ(m_engine->Save("backup.dat"), std::nullopt);
  EXPECT_EQ(m_engine->Save(m_data), std::nullopt);
  m_engine->Add("WebMonitor Of unsaved");
  Keep();
  fs::rename(m_folder / "backup.dat", m_data);
  Start();
  EXPECT_EQ(Monitors(), "old= ");
  EXPECT_TRUE(HasCondition("the data file was replaced"));
  EXPECT_FALSE(fs::exists(m_journal));
}

TEST_F(JournalStory, WaitsForADataFileThatCannotBeRead) {
  m_engine->Add("WebMonitor Of saved");
  EXPECT_EQ(m_engine->Save(m_data), std::nullopt);
  m_engine->Add("WebMonitor Of unsaved");
  KeepAndKill();
  const auto journal = tests::ReadFile(m_journal), data = tests::ReadFile(m_data);
  tests::WriteFile(m_data, "damaged");
  Start();
  EXPECT_EQ(Monitors(), "");
  EXPECT_EQ(m_engine->Shutdown(), std::nullopt);
  EXPECT_EQ(tests::ReadFile(m_journal), journal);
  tests::WriteFile(m_data, data);
  Start();
  EXPECT_EQ(Monitors(), "saved= unsaved= ");
  tests::WriteFile(m_data, "damaged");
  Start();
  m_engine->Add("WebMonitor Of new");
  KeepAndKill();
  EXPECT_EQ(Monitors(), "new= ");
  EXPECT_TRUE(IsKept(journal));
}

TEST_F(JournalStory, GoesOnWithTheCopyOfADataFileThatCannotBeRead) {
  m_engine->Add("WebMonitor Of saved");
  EXPECT_EQ(m_engine->Shutdown(), std::nullopt);
  for (const auto how : {"damaged", "lost", "put back"}) {
    SCOPED_TRACE(how);
    const auto data = tests::ReadFile(m_data);
    const bool isLost = how == std::string("lost"), isPutBack = how == std::string("put back");
    Start();
    m_engine->Add("WebMonitor Of unsaved");
    KeepAndKill();
    if (isLost)
      fs::remove(m_data);
    else
      tests::WriteFile(m_data, "damaged");
    Start();
    if (isPutBack) tests::WriteFile(m_data, data);
    EXPECT_EQ(m_engine->Load(isPutBack ? m_data : m_data + ".1"), std::nullopt);
    EXPECT_EQ(Monitors(), "saved= unsaved= ");
    EXPECT_TRUE(HasCondition("changes taken from its journal: 1"));
    KeepAndKill();
    EXPECT_EQ(Monitors(), "saved= unsaved= ");
    m_engine->service.Remove(m_engine->service.Table().Find("WebMonitor Of unsaved")->id);
    EXPECT_EQ(m_engine->Shutdown(), std::nullopt);
  }
}

TEST_F(JournalStory, IsKeptIfTheCopyIsOlder) {
  m_engine->Add("WebMonitor Of old");
  EXPECT_EQ(m_engine->Save("copy"), std::nullopt);
  m_engine->Add("WebMonitor Of saved");
  EXPECT_EQ(m_engine->Save(m_data), std::nullopt);
  m_engine->Add("WebMonitor Of unsaved");
  KeepAndKill();
  const auto journal = tests::ReadFile(m_journal);
  tests::WriteFile(m_data, "damaged");
  Start();
  EXPECT_EQ(m_engine->Load("copy"), std::nullopt);
  EXPECT_EQ(Monitors(), "old= ");
  Keep();
  EXPECT_TRUE(HasCondition("what was not saved in the data file that cannot be read is kept as"));
  EXPECT_TRUE(IsKept(journal));
}

TEST_F(JournalStory, WhatADamagedOneStillGaveIsWrittenAnew) {
  m_engine->Add("WebMonitor Of a");
  Keep();
  const auto size = fs::file_size(m_journal);
  m_engine->Add("WebMonitor Of b");
  Keep();
  m_engine.reset();
  auto bytes = tests::ReadFile(m_journal);
  bytes[size + 100] = static_cast<char>(bytes[size + 100] ^ 1);
  tests::WriteFile(m_journal, bytes);
  Start();
  EXPECT_EQ(Monitors(), "a= ");
  EXPECT_TRUE(HasCondition("the journal is damaged"));
  KeepAndKill();
  EXPECT_EQ(Monitors(), "a= ");
}

TEST_F(JournalStory, OneThatWasTakenAwayIsToldAndWrittenAnew) {
  m_engine->Add("WebMonitor Of a");
  Keep();
  fs::remove(m_journal);
  m_engine->Add("WebMonitor Of b");
  Keep();
  EXPECT_TRUE(HasCondition("was removed or replaced"));
  KeepAndKill();
  EXPECT_EQ(Monitors(), "a= b= ");
}

TEST_F(JournalStory, AFullDiskIsToldUntilTheChangesAreInTheJournalOrSaved) {
  const auto before = ::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  for (const bool isSaved : {false, true}) {
    SCOPED_TRACE(isSaved);
    m_engine->Add(isSaved ? "WebMonitor Of c" : "WebMonitor Of a");
    Keep();
    m_engine->Add(isSaved ? "WebMonitor Of d" : "WebMonitor Of b");
    const rlimit small{fs::file_size(m_journal) + 10, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    m_now += std::chrono::seconds(1);
    m_engine->service.KeepChanges();
    m_engine->RunUntil([&] { return HasCondition("changes would be lost"); });
    ::setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(Journal(m_journal).Read("")->damage, "");
    if (isSaved)
      EXPECT_EQ(m_engine->Save(m_data), std::nullopt);
    else
      Keep();
    EXPECT_FALSE(HasCondition("changes would be lost"));
    Start();
  }
  ::signal(SIGXFSZ, before);
  EXPECT_EQ(Monitors(), "a= b= c= d= ");
}

TEST_F(JournalStory, GrowsNoMoreThanWhatChanged) {
  m_engine->Add("WebMonitor Of a");
  EXPECT_EQ(m_engine->Save(m_data), std::nullopt);
  for (int i = 0; i < 12; ++i) {
    Set("WebMonitor Of a", keys::NotifyMsg, std::string(1 << 20, static_cast<char>('a' + i)));
    Keep();
  }
  EXPECT_LT(fs::file_size(m_journal), 8u << 20);
  Start();
  EXPECT_EQ(m_engine->Attr("WebMonitor Of a", keys::NotifyMsg), std::string(1 << 20, 'l'));
}

}  // namespace
}  // namespace norvane::engine
