#include "engine/Service.h"

#include <algorithm>
#include <filesystem>

#include "console/engine/Limits.h"
#include "engine/checks/ProbeTable.h"
#include "engine/store/DataFile.h"
#include "engine/store/Database.h"
#include "engine/store/StoreError.h"
#include "loopback/TempFolder.h"
#include "tests/engine/TestEngine.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

namespace fs = std::filesystem;
namespace keys = console::engine::keys;
using console::engine::EngineError;
using console::engine::EngineErrorCode;
using loopback::TempFolder;
using Calls = std::vector<std::string>;

using Engine = tests::TestEngine;

TEST(Service, StatusStartsAndStopsAndOtherAttributesReachARunningCheck) {
  const TempFolder folder;
  Engine engine(folder.Path());
  const auto id = engine.Add("WebMonitor Of a");
  engine.service.Set(id, keys::Parameter, "http://a/");
  EXPECT_TRUE(engine.checks->calls.empty());
  engine.service.Set(id, keys::Status, "Enable");
  engine.service.Set(id, keys::Status, "Enable");
  engine.service.Set(id, keys::Interval, "5");
  engine.service.Set(id, keys::Interval, "5");
  engine.service.Set(id, keys::Status, "enable");  // anything but "Enable" means stopped
  engine.service.Set(id, keys::Status, "Enable");
  engine.service.Remove(id);
  EXPECT_EQ(engine.checks->calls, (Calls{"Start WebMonitor Of a 0", "Update WebMonitor Of a", "Stop",
                                         "Start WebMonitor Of a 0", "Stop"}));
}

TEST(Service, RefusesWhatIsNoUtf8AndKeepsWhatAFileHolds) {
  const TempFolder folder;
  const std::string bytes = "caf\xe9";
  Attributes old = NewMonitorAttributes();
  old.Set(keys::NotifyMsg, bytes);
  datafile::Changes changes;
  changes.rows.push_back({1, "WebMonitor Of a", std::make_shared<const Attributes>(std::move(old))});
  changes.total = 1;
  ASSERT_TRUE(datafile::Save(folder / "NorvaneEngine.dat", changes, ProbeTable(), nullptr));
  Engine engine(folder.Path());
  const auto set = [&](std::string_view key, const std::string& value) {
    return tests::CodeOf([&] {
      engine.service.Set(engine.service.Table().Find("WebMonitor Of a")->id, key, value);
      return 0;
    });
  };
  EXPECT_EQ(set(keys::NotifyMsg, bytes), std::nullopt);
  EXPECT_EQ(set(keys::LogFile, bytes), std::nullopt) << "names of files may have any bytes";
  EXPECT_EQ(set(keys::NotifyMsg, bytes + "s"), EngineErrorCode::Invalid);
  EXPECT_EQ(set(keys::NotifyPager, bytes), EngineErrorCode::Invalid);
  EXPECT_EQ(set(bytes, "x"), EngineErrorCode::Invalid);
  EXPECT_EQ(tests::CodeOf([&] { return engine.service.Add("WebMonitor Of " + bytes); }),
            EngineErrorCode::Invalid);
  EXPECT_EQ(engine.Attr("WebMonitor Of a", keys::NotifyMsg), bytes);
}

TEST(Service, StartsLaterWhatThereWasNoMemoryFor) {
  const TempFolder folder;
  Engine engine(folder.Path());
  engine.checks->lacksMemory = true;
  engine.Add("WebMonitor Of a", "Enable");
  engine.Add("WebMonitor Of b");
  engine.service.OnSecond();
  engine.service.OnSecond();
  EXPECT_EQ(engine.checks->calls, Calls{"Update WebMonitor Of a"});
}

TEST(Service, TheFirstCheckIsAChangeEvenWithTheResultOfAnEarlierEngine) {
  const TempFolder folder;
  Engine engine(folder.Path());
  const auto id = engine.Add("WebMonitor Of a", "Enable");
  engine.service.Set(id, keys::Result, "x");
  for (const bool isChange : {true, false}) {
    const auto before = engine.service.Table().LastChange();
    engine.checks->Report(id, 0, "x");
    engine.service.OnWake();
    EXPECT_EQ(engine.service.Table().LastChange() > before, isChange) << "as consoles see it";
  }
}

TEST(Service, KeepsResultsAndCountsFailuresInARow) {
  const TempFolder folder;
  Engine engine(folder.Path());
  const auto id = engine.Add("WebMonitor Of a", "Enable");
  std::chrono::system_clock::time_point since;
  for (const auto& [reason, failures, isAsBefore] :
       tests::Rows<const char*, int, bool>{{"Ok", 0, false},
                                           {"Ok", 0, true},
                                           {"HTTP status 404", 1, false},
                                           {"x", 2, true},
                                           {"Ok", 0, false}}) {
    SCOPED_TRACE(reason);
    engine.checks->Report(id, 0, reason);
    engine.service.OnWake();
    EXPECT_EQ(engine.Attr("WebMonitor Of a", keys::Result), reason);
    EXPECT_EQ(engine.service.Table().Find(id)->lastCheck.failuresInARow, failures);
    const auto& check = engine.service.Table().Find(id)->lastCheck;
    EXPECT_EQ(check.duration.count(), 7);
    EXPECT_EQ(check.since, isAsBefore ? since : check.at);
    since = check.since;
  }
  EXPECT_EQ(engine.checks->calls, Calls{"Start WebMonitor Of a 0"}) << "a result is no change of settings";
  engine.checks->Report(id, 0, "x");
  engine.service.OnWake();
  engine.service.Set(id, keys::Status, "Disable");
  engine.service.Set(id, keys::Status, "Enable");
  EXPECT_EQ(engine.service.Table().Find(id)->lastCheck.failuresInARow, 0) << "a start counts anew";
}

TEST(Service, ACheckOnDemandAnswersEvenWhenItsMonitorHasGone) {
  const TempFolder folder;
  Engine engine(folder.Path());
  engine.checks->holdChecks = true;
  const auto id = engine.Add("WebMonitor Of a");
  std::string answer;
  engine.service.Check(id, [&](std::exception_ptr, const CheckResult& result) { answer = result.reason; });
  engine.service.Remove(id);
  engine.checks->Report(engine.checks->held[0].first, engine.checks->held[0].second, "too late");
  engine.service.OnWake();
  EXPECT_EQ(answer, "too late");
  EXPECT_THROW(engine.service.Check(id, [](std::exception_ptr, const CheckResult&) {}), EngineError);
}

TEST(Service, AReportThatCannotBeHandledLosesNoOther) {
  const TempFolder folder;
  Engine engine(folder.Path());
  engine.checks->holdChecks = true;
  const auto id = engine.Add("WebMonitor Of a");
  std::vector<std::string> answers;
  const auto answer = [&](std::exception_ptr, const CheckResult& result) {
    answers.push_back(result.reason);
  };
  engine.service.Check(id, [](std::exception_ptr, const CheckResult&) { throw std::runtime_error("gone"); });
  engine.service.Check(id, answer);
  engine.service.Check(id, answer);
  const auto& held = engine.checks->held;
  engine.checks->Report(id, held[0].second, "down");
  engine.checks->Report(id, held[1].second, std::string(console::engine::MaxValueSize + 1, 'x'));
  engine.checks->Report(id, held[2].second, "down");
  engine.service.OnWake();
  const std::string tooLong = "internal error: value longer than 1 MiB";
  EXPECT_EQ(answers, (std::vector<std::string>{tooLong, "down"}));
  EXPECT_EQ(engine.Conditions(), Calls{"WebMonitor Of a: " + tooLong}) << "the last one";
}

TEST(Service, GoesOnWhereItStoodAndSpreadsTheFirstChecks) {
  const TempFolder folder;
  {
    Engine engine(folder.Path());
    for (const char* name : {"a", "b", "c", "d"})
      engine.Add(std::string("WebMonitor Of ") + name, "Enable");
    engine.Add("WebMonitor Of stopped");
    engine.service.Set(engine.service.Table().Find("WebMonitor Of c")->id, keys::Interval, "8");
    // A day's wait might outlast the machine's day, every day.
    engine.service.Set(engine.service.Table().Find("WebMonitor Of d")->id, keys::Interval, "86400");
    EXPECT_EQ(engine.Shutdown(), std::nullopt);
  }
  Engine engine(folder.Path());
  EXPECT_EQ(engine.checks->calls, (Calls{"Start WebMonitor Of a 0", "Start WebMonitor Of b 15000",
                                         "Start WebMonitor Of c 4000", "Start WebMonitor Of d 450000"}));
  EXPECT_EQ(engine.service.Table().Count(), 5u);
}

TEST(Service, LoadKeepsWhatRunsOrReplacesItAll) {
  const TempFolder folder;
  Engine engine(folder.Path());
  const std::string own = folder / "NorvaneEngine.dat", other = folder / "backup.dat",
                    empty = folder / "empty.dat";
  EXPECT_EQ(engine.Save(empty), std::nullopt);
  engine.Add("WebMonitor Of old", "Enable");
  EXPECT_EQ(engine.Load(own), EngineErrorCode::NotFound);
  EXPECT_EQ(engine.Save(other), std::nullopt);
  engine.Add("WebMonitor Of later", "Enable");
  EXPECT_EQ(engine.Save(own), std::nullopt);
  engine.checks->calls.clear();

  EXPECT_EQ(engine.Load(own), std::nullopt);
  EXPECT_EQ(engine.Load(folder / "./NorvaneEngine.dat"), std::nullopt);
  EXPECT_EQ(engine.Load("NorvaneEngine.dat"), std::nullopt) << "a name without a folder lies in the engine's";
  EXPECT_TRUE(engine.checks->calls.empty());

  const auto before = engine.service.Table().LastChange();
  EXPECT_EQ(engine.Load(other), std::nullopt);
  EXPECT_EQ(engine.checks->calls, (Calls{"Stop", "Stop", "Start WebMonitor Of old 0"}));
  EXPECT_EQ(engine.service.Table().Count(), 1u);
  EXPECT_GT(engine.service.Table().LastChange(), before);

  EXPECT_EQ(engine.Load(own), std::nullopt);
  EXPECT_EQ(engine.service.Table().Count(), 2u);

  EXPECT_EQ(engine.Load(empty), std::nullopt);
  EXPECT_EQ(engine.Save(own), std::nullopt);
  EXPECT_EQ(datafile::Load(own, 1, ProbeTable()).table->Count(), 0u);

  fs::copy_file(other, own, fs::copy_options::overwrite_existing);  // a backup put back
  EXPECT_EQ(engine.Load(own), std::nullopt);
  EXPECT_EQ(engine.service.Table().Count(), 1u);
}

TEST(Service, WhatFailsAfterALoadHoldsUpNoFurtherOne) {
  struct Failing : TableObserver {
    void TableChanged() override { throw std::runtime_error("no memory"); }
  } failing;
  const TempFolder folder;
  Engine engine(folder.Path());
  engine.Add("WebMonitor Of old", "Enable");
  EXPECT_EQ(engine.Save("NorvaneEngine.dat"), std::nullopt);
  EXPECT_EQ(engine.Save("backup.dat"), std::nullopt);
  engine.Add("WebMonitor Of later");
  EXPECT_EQ(engine.Save("NorvaneEngine.dat"), std::nullopt);
  engine.service.AddObserver(failing);
  EXPECT_THROW((void)engine.Load("backup.dat"), std::runtime_error);
  engine.service.RemoveObserver(failing);
  EXPECT_EQ(engine.Save("NorvaneEngine.dat"), std::nullopt);
  EXPECT_EQ(datafile::Load(folder / "NorvaneEngine.dat", 1, ProbeTable()).table->Count(), 1u);
}

TEST(Service, RefusesChangesThatTheLastSaveWouldMiss) {
  const TempFolder folder;
  Engine engine(folder.Path());
  const auto id = engine.Add("WebMonitor Of a", "Enable");
  EXPECT_EQ(engine.Save("backup.dat"), std::nullopt);
  engine.service.Load("backup.dat", [](std::exception_ptr) {});
  engine.checks->calls.clear();
  EXPECT_EQ(engine.Shutdown(), std::nullopt);
  EXPECT_EQ(engine.Load("backup.dat"), EngineErrorCode::Refused);
  EXPECT_EQ(tests::CodeOf([&] { engine.service.Add("WebMonitor Of b"); }), EngineErrorCode::Refused);
  EXPECT_EQ(tests::CodeOf([&] { engine.service.Set(id, keys::Status, "x"); }), EngineErrorCode::Refused);
  EXPECT_EQ(tests::CodeOf([&] { engine.service.Remove(id); }), EngineErrorCode::Refused);
  EXPECT_EQ(std::ranges::count(engine.checks->calls, "Start WebMonitor Of a 0"), 0);
}

TEST(Service, SavesWhatChangedSinceTheLastSave) {
  const TempFolder folder;
  const std::string own = folder / "NorvaneEngine.dat";
  {
    Engine engine(folder.Path());
    for (int i = 0; i < 10; ++i)
      engine.Add("WebMonitor Of " + std::to_string(i));
    EXPECT_EQ(engine.Save(own), std::nullopt);
    engine.service.Remove(engine.service.Table().Find("WebMonitor Of 3")->id);
    engine.service.Set(engine.service.Table().Find("WebMonitor Of 5")->id, keys::Parameter, "changed");
    // Two saves at once: the second must not rest on a state that the first is just replacing.
    bool first = false;
    engine.service.Save(own, [&](std::exception_ptr error) { first = error == nullptr; });
    engine.service.Set(engine.service.Table().Find("WebMonitor Of 6")->id, keys::Parameter, "too");
    EXPECT_EQ(engine.Save(own), std::nullopt);
    EXPECT_TRUE(first);
    const auto saved = datafile::Load(own, 1, ProbeTable());
    EXPECT_EQ(saved.table->Find("WebMonitor Of 6")->attributes->Get(keys::Parameter), "too");
    // The file was replaced behind the engine's back: all is written again.
    EXPECT_EQ(engine.Save(folder / "copy"), std::nullopt);
    engine.Add("WebMonitor Of last");
    fs::rename(folder / "copy", own);
    EXPECT_EQ(engine.Save(own), std::nullopt);
    EXPECT_EQ(engine.Conditions(), Calls{});
  }
  Engine engine(folder.Path());
  EXPECT_EQ(engine.service.Table().Count(), 10u);
  EXPECT_EQ(engine.Attr("WebMonitor Of 3", keys::Parameter), "no such monitor");
  EXPECT_EQ(engine.Attr("WebMonitor Of 5", keys::Parameter), "changed");
  EXPECT_EQ(engine.Attr("WebMonitor Of 6", keys::Parameter), "too");
  EXPECT_EQ(engine.Attr("WebMonitor Of last", keys::Parameter), "");
}

TEST(Service, AnUnreadableFileIsToldAndKeptAndTheEngineLives) {
  const TempFolder folder;
  const std::string own = folder / "NorvaneEngine.dat";
  tests::WriteFile(own, "this is no data file");
  for (const auto& state : {std::string(), std::string(600, 'x')}) {
    tests::WriteFile(folder / "NorvaneEngine.state", state);
    Engine engine(folder.Path());
    EXPECT_EQ(engine.Conditions().size(), 2u);
    EXPECT_EQ(engine.Commit("LogFile", "x.log"), std::nullopt);
    EXPECT_EQ(engine.Conditions().size(), 1u) << "the values of the service are set anew";
    EXPECT_EQ(engine.Shutdown(), std::nullopt);
    EXPECT_EQ(tests::ReadFile(own), "this is no data file") << "nothing was to be saved";
  }
  Engine engine(folder.Path());
  EXPECT_EQ(engine.service.Conditions().size(), 1u);
  EXPECT_EQ(engine.Load(own), EngineErrorCode::Invalid);
  EXPECT_EQ(engine.Load("/proc/self/mem"), EngineErrorCode::Invalid);
  EXPECT_EQ(engine.Save(folder / "no folder/x"), EngineErrorCode::Failed);
  tests::WriteFile(folder / "config.ini", "[tls]");
  EXPECT_EQ(engine.Save("config.ini"), EngineErrorCode::Invalid);
  EXPECT_EQ(tests::ReadFile(folder / "config.ini"), "[tls]");
  EXPECT_EQ(engine.Save(std::string("a\0b", 3)), EngineErrorCode::Invalid);
  engine.Add("WebMonitor Of a");
  EXPECT_EQ(engine.Save(own), std::nullopt);
  ASSERT_EQ(engine.Conditions().size(), 1u);
  EXPECT_NE(engine.Conditions()[0].find("; kept as"), std::string::npos) << engine.Conditions()[0];
  int kept = 0;
  for (const auto& entry : fs::directory_iterator(folder.Path()))
    kept += entry.path().filename().string().find(".unreadable-") != std::string::npos &&
            entry.path().extension() != ".1";
  EXPECT_EQ(kept, 3);
  EXPECT_EQ(engine.Load(own), std::nullopt);
}

TEST(Service, SavesTheDataFileAsSoonAsItCanBeSaved) {
  const TempFolder folder;
  const std::string own = folder / "NorvaneEngine.dat";
  Engine engine(folder.Path());
  engine.Add("WebMonitor Of a");
  fs::create_directory(own);
  EXPECT_EQ(engine.Save(own), EngineErrorCode::Failed);
  EXPECT_EQ(engine.Conditions().size(), 1u);
  fs::remove(own);
  engine.service.OnSecond();
  engine.RunUntil([&] { return engine.Conditions().empty(); });
  EXPECT_TRUE(fs::is_regular_file(own));
}

TEST(Service, RefusesToStartOnADataFileThatCannotBeReadJustNow) {
  const TempFolder folder;
  const std::string own = folder / "NorvaneEngine.dat";
  {
    Engine engine(folder.Path());
    engine.Add("WebMonitor Of a");
    EXPECT_EQ(engine.Shutdown(), std::nullopt);
  }
  {
    Database other(own, Database::Mode::Write);
    other.Run("BEGIN EXCLUSIVE");
    // One that starts empty would put nothing in the file's place as soon as it can.
    EXPECT_THROW(Engine(folder.Path()), StoreError);
  }
  Engine engine(folder.Path());
  EXPECT_EQ(engine.service.Table().Count(), 1u);
}

TEST(Service, FollowsNoLinkInThePlaceOfItsDataFileButTheOnesThatAUserNames) {
  const TempFolder folder;
  const std::string own = folder / "NorvaneEngine.dat", other = folder / "other", link = folder / "link";
  const auto leftover = tests::WriteFile(own + ".saving-0123456789abcdef", "x");
  {
    Engine engine(folder.Path());
    EXPECT_FALSE(fs::exists(leftover));
    engine.Add("WebMonitor Of a");
    EXPECT_EQ(engine.Save(other), std::nullopt);
    const auto bytes = tests::ReadFile(other);
    fs::create_symlink(other, own);
    engine.Add("WebMonitor Of b");
    EXPECT_EQ(engine.Save("NorvaneEngine.dat"), std::nullopt);
    EXPECT_FALSE(fs::is_symlink(own));
    EXPECT_EQ(tests::ReadFile(other), bytes);
    fs::create_symlink(other, link);
    EXPECT_EQ(engine.Save(link), std::nullopt);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(datafile::Load(other, 1, ProbeTable()).table->Count(), 2u);
  }
  fs::remove(own);
  fs::create_symlink(other, own);
  EXPECT_THROW(Engine(folder.Path()), StoreError) << "without its monitors it watches nothing";
}

TEST(Service, ValuesOfTheServiceAreKeptAndThePassIsItsOwn) {
  const TempFolder folder;
  std::string pass, instance;
  {
    Engine engine(folder.Path());
    pass = engine.service.ConfigValue("ControlPass");
    instance = engine.service.Instance();
    EXPECT_EQ(pass.size(), 32u);
    // Two consoles at once: neither must take back what the other has just set.
    engine.service.CommitConfig({{"LogFile", "log/x%d.log"}}, [](std::exception_ptr) {});
    EXPECT_EQ(engine.Commit("other", "y"), std::nullopt);
    EXPECT_EQ(engine.service.ConfigValue("LogFile"), "log/x%d.log");
    EXPECT_EQ(engine.Commit("ControlPass", "mine"), EngineErrorCode::Invalid);
    EXPECT_EQ(engine.Commit("", "x"), EngineErrorCode::Invalid);
    for (const auto& wrong : {std::string(), pass + "0", pass.substr(1), std::string(32, '0')})
      EXPECT_FALSE(engine.service.IsControlPass(wrong)) << wrong;
    EXPECT_TRUE(engine.service.IsControlPass(pass));
  }
  Engine engine(folder.Path());
  EXPECT_EQ(engine.service.ConfigValue("LogFile"), "log/x%d.log");
  EXPECT_EQ(engine.service.ConfigValue("never set"), "");
  EXPECT_EQ(engine.service.ConfigValue("ControlPass"), pass);
  EXPECT_NE(engine.service.Instance(), instance);
  EXPECT_EQ(tests::ModeOf(folder / "NorvaneEngine.state"), 0600u);
}

TEST(Service, LogsEveryCheckWhereItsMonitorOrTheServiceSays) {
  const TempFolder folder;
  {
    Engine engine(folder.Path());
    const auto own = engine.Add("WebMonitor Of own");
    engine.service.Set(own, keys::LogFile, folder / "own.log");
    const auto plain = engine.Add("WebMonitor Of plain");
    engine.checks->Report(own, 0, "HTTP status 404");
    engine.checks->Report(CheckEnded{plain, 0, tests::FakeWorker::ResultOf("Ok"), "a remark"});
    engine.service.OnWake();
    EXPECT_EQ(engine.Commit("LogFile", "service.log"), std::nullopt);
    engine.checks->Report(plain, 0, "Ok");
    engine.service.Set(own, keys::LogFile, folder / "no\nfolder");
    engine.service.OnWake();
  }
  const auto read = [&](const std::string& name) { return tests::ReadFile(folder / name); };
  EXPECT_NE(read("own.log").find(" WebMonitor Of own: failed in 7 ms: HTTP status 404\n"), std::string::npos);
  EXPECT_NE(read("service.log").find(" WebMonitor Of plain: good in 7 ms: Ok\n"), std::string::npos);
  std::string standard;
  for (const auto& entry : fs::directory_iterator(folder / "log"))
    standard += read("log/" + entry.path().filename().string());
  EXPECT_NE(standard.find(" WebMonitor Of plain: a remark\n"), std::string::npos);
}

TEST(Service, InitFillsOnlyWhatIsEmpty) {
  const TempFolder folder;
  Engine engine(folder.Path());
  const auto id = engine.Add("WebMonitor Of a");
  engine.service.Set(id, keys::Interval, "");
  engine.service.Set(id, keys::Timeout, "7");
  engine.service.Init(id);
  EXPECT_EQ(engine.Attr("WebMonitor Of a", keys::Interval), "60");
  EXPECT_EQ(engine.Attr("WebMonitor Of a", keys::Timeout), "7");
  EXPECT_EQ(engine.Attr("WebMonitor Of a", keys::Command), "");
}

}  // namespace
}  // namespace norvane::engine
