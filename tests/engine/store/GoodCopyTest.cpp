#include "engine/store/GoodCopy.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "engine/store/DataFile.h"
#include "engine/store/KeepAside.h"
#include "engine/store/NewFile.h"
#include "engine/store/StateFile.h"
#include "engine/store/StoreError.h"
#include "loopback/TempFolder.h"
#include "tests/engine/TestEngine.h"
#include "tests/support/Files.h"

namespace norvane::engine {
namespace {

namespace fs = std::filesystem;
using tests::TestEngine;

class GoodCopy : public ::testing::Test {
 protected:
  /// An engine runs from start to orderly end; gives its conditions before the end.
  std::vector<std::string> Run(const std::function<void(TestEngine&)>& action = [](TestEngine&) {}) {
    TestEngine engine(m_folder.Path());
    const auto conditions = engine.Conditions();
    action(engine);
    EXPECT_EQ(engine.Shutdown(), std::nullopt);
    return conditions;
  }
  std::size_t Monitors(const std::string& path) {
    return datafile::Load(path, 1, ProbeTable()).table->Count();
  }
  std::string Only(const std::vector<std::string>& conditions) {
    EXPECT_EQ(conditions.size(), 1u);
    return conditions.empty() ? "" : conditions[0];
  }

  const loopback::TempFolder m_folder;
  const std::string m_data = m_folder / "NorvaneEngine.dat", m_state = m_folder / "NorvaneEngine.state";
};

TEST_F(GoodCopy, OfTheDataFileIsOfferedAndOutlivesWhatComesAfter) {
  Run([](TestEngine& engine) {
    engine.Add("WebMonitor Of a");
    engine.Add("WebMonitor Of b");
  });
  EXPECT_EQ(tests::ModeOf(m_data + ".1"), 0600u);
  const auto good = tests::ReadFile(m_data);
  for (const bool isLost : {false, true}) {
    SCOPED_TRACE(isLost);
    if (isLost)
      fs::remove(m_data);
    else
      tests::WriteFile(m_data, good.substr(0, good.size() / 2));
    // Nothing was done in it: nothing is written.
    EXPECT_NE(Only(Run()).find("norvanectl load " + m_data + ".1"), std::string::npos);
    EXPECT_EQ(fs::exists(m_data), !isLost);
    EXPECT_EQ(Monitors(m_data + ".1"), 2u);
    Run([&](TestEngine& engine) {
      EXPECT_EQ(engine.Load(m_data + ".1"), std::nullopt);
      EXPECT_EQ(engine.service.Table().Count(), 2u);
    });
    EXPECT_EQ(Run(), std::vector<std::string>());
    EXPECT_EQ(Monitors(m_data), 2u);
    EXPECT_EQ(Monitors(m_data + ".1"), 2u);
  }
  // Somebody works on without it.
  fs::remove(m_data);
  Run([](TestEngine& engine) { engine.Add("WebMonitor Of new"); });
  EXPECT_EQ(Monitors(m_data), 1u);
  bool isKept = false;
  for (const auto& entry : fs::directory_iterator(m_folder.Path())) {
    const auto name = entry.path().filename().string();
    if (name.find(".unreadable-") != std::string::npos && name.ends_with(".1"))
      isKept |= Monitors(entry.path()) == 2;
  }
  EXPECT_TRUE(isKept);
}

TEST_F(GoodCopy, WithMonitorsIsNotReplacedByOneWithout) {
  Run([](TestEngine& engine) { engine.Add("WebMonitor Of a"); });
  Run([](TestEngine& engine) { engine.service.Remove(engine.service.Table().All().begin()->first); });
  EXPECT_EQ(Monitors(m_data), 0u);
  EXPECT_EQ(Monitors(m_data + ".1"), 1u);
}

TEST_F(GoodCopy, OfTheStateFileTakesThePlaceOfWhatIsDamagedOrLost) {
  std::string pass;
  Run([&](TestEngine& engine) {
    pass = engine.service.ConfigValue("ControlPass");
    EXPECT_EQ(engine.Commit("LogFile", "x.log"), std::nullopt);
  });
  EXPECT_EQ(tests::ModeOf(m_state + ".1"), 0600u);
  StateChanges outage;
  outage.outages["WebMonitor Of gone"] = OutageRecord{"identity", 3};
  StateFile(m_folder.Path()).Write(outage);
  Run([&](TestEngine& engine) { EXPECT_EQ(engine.Commit("LogFile", "y.log"), std::nullopt); });
  const auto good = tests::ReadFile(m_state);
  for (const auto& damaged :
       {std::optional(good.substr(0, 5000)), std::optional(std::string()), std::optional<std::string>()}) {
    damaged ? (void)tests::WriteFile(m_state, *damaged) : (void)fs::remove(m_state);
    EXPECT_NE(Only(Run([&](TestEngine& engine) {
                EXPECT_EQ(engine.service.ConfigValue("ControlPass"), pass);
                EXPECT_EQ(engine.service.ConfigValue("LogFile"), "y.log");
              })).find("; going on with its copy of "),
              std::string::npos);
  }
  tests::WriteFile(m_state, "x");
  tests::WriteFile(m_state + ".1", "y");
  EXPECT_NE(Only(Run()).find(", service-wide values lost"), std::string::npos);
}

TEST_F(GoodCopy, StaysUntilItsSuccessorIsInPlace) {
  tests::WriteFile(m_state, "damaged");
  tests::WriteFile(m_state + ".1", "copy");
  NewFile successor(m_state);
  EXPECT_THROW(KeepAside(m_state, successor), StoreError) << "there is none yet";
  EXPECT_EQ(tests::ReadFile(m_state), "damaged");
  EXPECT_EQ(tests::ReadFile(m_state + ".1"), "copy");
  tests::WriteFile(successor.Name(), "new");
  const auto kept = KeepAside(m_state, successor);
  EXPECT_EQ(tests::ReadFile(kept) + tests::ReadFile(kept + ".1"), "damagedcopy");
  EXPECT_EQ(tests::ReadFile(m_state), "new");
  EXPECT_FALSE(fs::exists(m_state + ".1"));
  fs::remove(m_state);
  EXPECT_NE(Only(Run()).find("are lost"), std::string::npos) << "not a first start";
}

TEST_F(GoodCopy, AFileOfANewerNorvaneKeepsTheEngineFromStarting) {
  const std::pair<std::string, const char*> rows[] = {{m_state, "CREATE TABLE later(x)"},
                                                      {m_data, "ALTER TABLE monitor ADD COLUMN later TEXT"}};
  for (const auto& [path, change] : rows) {
    SCOPED_TRACE(path);
    Run([](TestEngine& engine) { engine.Commit("x", "1"); });
    Database(path, Database::Mode::Write).Run(std::string(change) + ";PRAGMA user_version=99");
    const auto bytes = tests::ReadFile(path);
    try {
      TestEngine engine(m_folder.Path());
      ADD_FAILURE();
    } catch (const StoreError& error) {
      EXPECT_EQ(error.what(), path + ": made by a newer Norvane");
    }
    EXPECT_EQ(tests::ReadFile(path), bytes);
    fs::remove(path);
    fs::remove(path + ".1");
  }
}

}  // namespace
}  // namespace norvane::engine
