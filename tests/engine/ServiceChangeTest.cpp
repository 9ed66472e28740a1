#include <gtest/gtest.h>

#include <filesystem>

#include "console/engine/Limits.h"
#include "loopback/TempFolder.h"
#include "tests/engine/TestEngine.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

namespace ce = console::engine;
namespace keys = ce::keys;
using ce::EngineErrorCode;
using ce::MonitorChange;
using Calls = std::vector<std::string>;
using Engine = tests::TestEngine;
using What = MonitorChange::What;

std::string At(std::string_view key) {
  return std::string(key);
}

class ServiceChange : public testing::Test {
 protected:
  ServiceChange() {
    engine.Add("WebMonitor Of a", "Enable");
    engine.Add("WebMonitor Of b", "Enable");
    engine.Add("WebMonitor Of c");
    engine.service.Set(Id("WebMonitor Of b"), keys::Parent, "WebMonitor Of a");
    engine.checks->calls.clear();
  }
  MonitorId Id(const std::string& name) { return engine.service.Table().Find(name)->id; }
  void Change(const std::vector<MonitorChange>& changes, std::uint64_t basedOn) {
    engine.service.Change(changes, basedOn, [](const std::exception_ptr&) {});
  }
  std::uint64_t Now() { return engine.service.Table().LastChange(); }

  const loopback::TempFolder folder;
  Engine engine{folder.Path()};
};

TEST_F(ServiceChange, DisturbsNoCheckButThoseOfMonitorsThatChange) {
  Change({{What::Set, "WebMonitor Of a", {{At(keys::Interval), "60"}}},
          {What::Set,
           "WebMonitor Of b",
           {{At(keys::Interval), "5"}, {At(keys::Timeout), "3"}, {At(keys::Parent), ""}}},
          {What::Set, "WebMonitor Of c", {{At(keys::Status), "Enable"}}},
          {What::Add, "WebMonitor Of d", {{At(keys::Status), "Enable"}}},
          {What::Add, "WebMonitor Of e", {}}},
         Now());
  EXPECT_EQ(engine.checks->calls,
            (Calls{"Update WebMonitor Of b", "Start WebMonitor Of c 0", "Start WebMonitor Of d 30000"}));
  EXPECT_EQ(engine.Attr("WebMonitor Of b", keys::Timeout), "3");
  EXPECT_EQ(engine.Attr("WebMonitor Of e", keys::Interval), "60");
  engine.checks->calls.clear();
  Change({{What::Remove, "WebMonitor Of a", {}},
          {What::Set, "WebMonitor Of b", {{At(keys::Status), "Disable"}}}},
         Now());
  EXPECT_EQ(engine.checks->calls, (Calls{"Stop", "Stop"}));
  EXPECT_EQ(engine.service.Table().Find("WebMonitor Of a"), nullptr);
}

/// Whatever one of them is refused for, nothing of the others happens.
TEST_F(ServiceChange, IsRefusedAsAWhole) {
  const auto full = std::string(ce::MaxValueSize + 1, 'x');
  const tests::Rows<MonitorChange, EngineErrorCode, std::string> rows{
      {{What::Set, "WebMonitor Of x", {}}, EngineErrorCode::NotFound, "no such monitor: WebMonitor Of x"},
      {{What::Remove, "WebMonitor Of x", {}}, EngineErrorCode::NotFound, "WebMonitor Of x"},
      {{What::Add, "WebMonitor Of b", {}}, EngineErrorCode::Exists, "already exists: WebMonitor Of b"},
      {{What::Add, "WebMontor Of x", {}}, EngineErrorCode::Invalid, "unknown monitor type"},
      {{What::Set, "WebMonitor Of a", {}}, EngineErrorCode::Invalid, "several changes of WebMonitor Of a"},
      {{What::Set, "WebMonitor Of c", {{At(keys::Command), full}}},
       EngineErrorCode::Invalid,
       "WebMonitor Of c: Monitor_Command: value longer than 1 MiB"},
      {{What::Add, "WebMonitor Of \xe9", {}}, EngineErrorCode::Invalid, "monitor name not in UTF-8"},
      {{What::Set, "WebMonitor Of c", {{At(keys::NotifyMsg), "\xe9"}}},
       EngineErrorCode::Invalid,
       "WebMonitor Of c: Monitor_Notify Msg: value not in UTF-8"},
      {{What::Set, "WebMonitor Of c", {{"", "x"}}}, EngineErrorCode::Invalid, "attribute name empty"},
      {{What::Set, "WebMonitor Of c", {{At(keys::Parent), "WebMonitor Of c"}}},
       EngineErrorCode::Invalid,
       "WebMonitor Of c -> WebMonitor Of c"},
      // c depends on b, b on a, and a will on the new one.
      {{What::Add, "WebMonitor Of new", {{At(keys::Parent), "WebMonitor Of b"}}},
       EngineErrorCode::Invalid,
       "must not make a circle"},
      {{What::Set, "WebMonitor Of b", {{At(keys::Timeout), "7"}}},
       EngineErrorCode::Refused,
       "changed meanwhile: WebMonitor Of b; apply again"},
  };
  const auto before = Now();
  engine.service.Set(Id("WebMonitor Of b"), keys::Timeout, "9");
  engine.checks->calls.clear();
  const auto after = Now();
  for (const auto& [change, code, text] : rows) {
    SCOPED_TRACE(text);
    std::string error;
    const auto basedOn = code == EngineErrorCode::Refused ? before : after;
    EXPECT_EQ(tests::CodeOf(
                  [&] {
                    Change({{What::Set,
                             "WebMonitor Of a",
                             {{At(keys::Interval), "5"}, {At(keys::Parent), "WebMonitor Of new"}}},
                            {What::Add, "WebMonitor Of d", {}},
                            change},
                           basedOn);
                    return 0;
                  },
                  &error),
              code);
    EXPECT_NE(error.find(text), std::string::npos) << error;
  }
  EXPECT_EQ(Now(), after);
  EXPECT_TRUE(engine.checks->calls.empty());
}

/// A result is no setting, and what others changed elsewhere is no matter.
TEST_F(ServiceChange, IsNotRefusedForResultsOrOtherMonitors) {
  const auto before = Now();
  engine.service.Set(Id("WebMonitor Of a"), keys::Result, "Ok");
  engine.service.Set(Id("WebMonitor Of b"), keys::Timeout, "9");
  EXPECT_NO_THROW(Change({{What::Set, "WebMonitor Of a", {{At(keys::Timeout), "8"}}}}, before));
}

/// Whoever is told that it is done keeps it, even if the engine is killed now.
TEST_F(ServiceChange, IsInTheJournalWhenItIsDone) {
  const loopback::TempFolder parent;
  const std::string copy = parent / "copy";
  EXPECT_FALSE(engine.Await([&](Completion done) {
    engine.service.Change({{What::Add, "WebMonitor Of d", {}}, {What::Remove, "WebMonitor Of c", {}}}, Now(),
                          done);
  }));
  std::filesystem::copy(folder.Path(), copy, std::filesystem::copy_options::recursive);
  Engine next(copy);
  EXPECT_NE(next.service.Table().Find("WebMonitor Of d"), nullptr);
  EXPECT_EQ(next.service.Table().Find("WebMonitor Of c"), nullptr);
}

TEST_F(ServiceChange, MakesRoomBeforeItAdds) {
  std::vector<MonitorChange> changes;
  for (std::size_t i = engine.service.Table().Count(); i < ce::MaxMonitors; ++i)
    changes.push_back({What::Add, "WebMonitor Of " + std::to_string(i), {}});
  Change(changes, Now());
  changes = {{What::Add, "WebMonitor Of one more", {}}};
  EXPECT_EQ(tests::CodeOf([&] { return Change(changes, Now()), 0; }), EngineErrorCode::Full);
  changes.push_back({What::Remove, "WebMonitor Of a", {}});
  EXPECT_NO_THROW(Change(changes, Now()));
}

}  // namespace
}  // namespace norvane::engine
