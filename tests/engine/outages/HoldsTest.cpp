#include "engine/outages/Holds.h"

#include <filesystem>
#include <sstream>

#include "engine/store/DataFile.h"
#include "loopback/TempFolder.h"
#include "tests/engine/TestEngine.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

namespace keys = console::engine::keys;
using std::chrono::minutes;
using std::chrono::seconds;

/// An engine with monitors router, switch and shop, each the parent of the next, that are checked once a
/// minute. A first failure starts the command, a second one sends the notification. Told by steps in words.
class HoldStory : public testing::Test {
 protected:
  /// What the runner was told: "c" a command, "n" a notification, "u" the command for the end, of shop unless
  /// it says otherwise. With exits what they were told of shop instead: "b" and "e" a webhook, "a" an
  /// Alertmanager.
  std::string Tell(const std::string& steps) {
    for (const auto& file : std::filesystem::directory_iterator(m_folder.Path()))
      std::filesystem::remove_all(file);
    Start();
    for (const auto& [name, parent] : {std::pair{"router", ""}, {"switch", "router"}, {"shop", "switch"}}) {
      EXPECT_EQ(m_engine->Save(m_folder / ("before-" + std::string(name) + ".dat")), std::nullopt);
      AddMonitor(name, parent);
    }
    EXPECT_EQ(m_engine->Save(m_folder / "NorvaneEngine.dat"), std::nullopt);
    m_told.clear();
    m_down.clear();
    m_checksParents = true;
    std::istringstream words(steps);
    for (std::string word; words >> word;)
      Do(word);
    const auto told = m_told;
    m_engine.reset();
    return told;
  }
  [[nodiscard]] std::string Log() const { return tests::ReadFile(m_folder / "shop.log"); }

 private:
  void Start() {
    Alarms::Options alarms;
    alarms.wallClock = [this] { return m_wall; };
    if (m_hasExits) {
      alarms.messages.webhooks["webhook chat"] = {.url = "http://chat/"};
      alarms.alertmanagers = {"http://alerts/"};
    }
    m_engine.emplace(
        m_folder.Path(), [this] { return m_now; }, AdminAddress{}, alarms);
    Settle();
  }
  void AddMonitor(const std::string& name, const std::string& parent) {
    const auto id = m_engine->service.Add("WebMonitor Of " + name);
    const auto who = name == "shop" ? "" : ":" + name;
    for (const auto& [key, value] : tests::Rows<std::string_view, std::string>{
             {keys::Parent, parent.empty() ? "" : "WebMonitor Of " + parent},
             {keys::Interval, "60"},
             {keys::FailTimes, "1"},
             {keys::MaxFailTimes, "1"},
             {keys::Command, "c" + who},
             {keys::CommandSucc, "u" + who},
             {keys::NotifyMode, "TEL://"},
             {keys::NotifyPager, "n" + who},
             {keys::LogFile, m_folder / (name + ".log")},
             {keys::Status, "Enable"}})
      m_engine->service.Set(id, key, value);
  }
  [[nodiscard]] MonitorId IdOf(const std::string& name) const {
    return m_engine->service.Table().Find("WebMonitor Of " + name)->id;
  }
  void Settle() {
    for (const char* value : {"1", "2", "3"})
      static_cast<void>(m_engine->Commit("x", value));
    for (const auto& call : std::exchange(m_engine->checks->calls, {})) {
      const auto what = call.substr(call.rfind(' ') + 1);
      if (!m_hasExits && (call.starts_with("Launch") || call.starts_with("NotifyOnce"))) NoteTold(what);
    }
    for (const auto& request : std::exchange(m_engine->checks->notifications, {})) {
      const auto has = [&](const char* text) { return request.body.find(text) != std::string::npos; };
      if (!request.url.empty() && has("WebMonitor Of shop"))
        NoteTold(has("outage_begins") ? "b" : has("outage_ends") ? "e" : "a");
    }
  }
  void NoteTold(const std::string& what) { m_told += (m_told.empty() ? "" : " ") + what; }
  void Wait(seconds time) {
    m_now += time;
    m_wall += time;
    m_engine->service.OnSecond();
    Settle();
  }
  /// Those that are up.
  void ReportParents() {
    for (const auto& [id, monitor] : m_engine->service.Table().All()) {
      const auto name = monitor.name.substr(monitor.name.rfind(' ') + 1);
      if (name != "shop" && monitor.Running() && !m_down.contains(name))
        m_engine->checks->Report(id, 0, "Ok");
    }
  }
  void Do(const std::string& word) {
    auto& service = m_engine->service;
    const std::vector<std::string> shop{"WebMonitor Of shop"};
    const auto name = word.substr(0, word.size() - 1);
    if (word.ends_with('-') || word.ends_with('+')) {
      m_engine->checks->Report(IdOf(name), 0, word.ends_with('+') ? "Ok" : "down");
      word.ends_with('+') ? m_down.erase(name) : m_down.insert(name).second;
      if (word == "shop-" && m_checksParents) ReportParents();
      service.OnWake();
      Settle();
      Wait(seconds(1));
    } else if (word.ends_with('m')) {
      Wait(minutes(std::stoi(name)));
    } else if (word == "silence") {
      EXPECT_EQ(m_engine->Await([&](Completion done) {
        service.Silence(shop, std::chrono::hours(2), "new disks", std::move(done));
      }),
                std::nullopt);
    } else if (word == "unsilence") {
      EXPECT_EQ(m_engine->Await([&](Completion done) { service.Unsilence(shop, std::move(done)); }),
                std::nullopt);
    } else if (word == "modem-off" || word == "modem-on") {
      m_engine->checks->notifyOutcome = word == "modem-on" ? "Ok" : "no modem";
    } else if (word == "modem-slow") {
      m_engine->checks->holdNotifications = true;
    } else if (word == "modem-answers") {
      m_engine->checks->ReportNotification(0, m_engine->checks->held.back().second, "Ok");
      Settle();
    } else if (word == "kill") {
      Kill();
    } else if (word == "restart") {
      EXPECT_EQ(m_engine->Shutdown(), std::nullopt);
      Start();
    } else if (word == "load") {
      EXPECT_EQ(m_engine->Save(m_folder / "other.dat"), std::nullopt);
      EXPECT_EQ(m_engine->Load(m_folder / "other.dat"), std::nullopt);
    } else if (word == "readd-shop") {
      service.Remove(IdOf("shop"));
      AddMonitor("shop", "switch");
    } else if (word == "stop-shop" || word == "start-shop") {
      service.Set(IdOf("shop"), keys::Status, word == "stop-shop" ? "Disable" : "Enable");
    } else if (word == "load-before-shop") {
      EXPECT_EQ(m_engine->Load(m_folder / "before-shop.dat"), std::nullopt);
    } else if (word == "parents-late") {
      m_checksParents = false;
    } else if (word == "clock-back") {
      m_wall -= std::chrono::hours(24);
    } else if (word == "patient-router") {
      service.Set(IdOf("router"), keys::FailTimes, "5");
      service.Set(IdOf("router"), keys::MaxFailTimes, "5");
    } else if (word == "no-mode" || word == "mode") {
      service.Set(IdOf("shop"), keys::NotifyMode, word == "mode" ? "TEL://" : "");
    } else if (word == "to-new") {
      service.Set(IdOf("shop"), keys::NotifyPager, "new");
    } else if (word == "drop") {
      service.DropOwed({});
    } else if (word == "stop-router") {
      service.Set(IdOf("router"), keys::Status, "Disable");
    } else if (word == "remove-router") {
      service.Remove(IdOf("router"));
    } else if (word == "parent-router") {
      service.Set(IdOf("shop"), keys::Parent, " WebMonitor Of router ");
    } else {
      ADD_FAILURE() << word;
    }
    if (m_engine) Settle();
  }
  /// What was written is all that is left.
  void Kill() {
    std::map<std::string, std::string> files;
    for (const char* file : {"NorvaneEngine.dat", "NorvaneEngine.state", "NorvaneEngine.journal"})
      if (std::filesystem::exists(m_folder / file)) files[file] = tests::ReadFile(m_folder / file);
    m_engine.reset();
    std::filesystem::remove(m_folder / "NorvaneEngine.journal");
    for (const auto& [file, content] : files)
      tests::WriteFile(m_folder / file, content);
    Start();
  }

 protected:
  const loopback::TempFolder m_folder;
  Moment m_now{std::chrono::hours(1)};
  Holds::WallTime m_wall{std::chrono::system_clock::now()};
  std::string m_told;
  std::set<std::string> m_down;
  bool m_checksParents = true;  // right after a failure of shop
  bool m_hasExits = false;
  std::optional<tests::TestEngine> m_engine;
};

TEST_F(HoldStory, HoldsReleasesAndDrops) {
  for (const auto& [steps, told] : tests::Rows<const char*, const char*>{
           {"shop- shop- shop+", "c n u"},
           // A silence holds all, and what would still be due goes when it ends, without another check.
           {"silence shop- shop- shop- shop+ 180m", ""},
           {"silence shop- shop- 119m", ""},
           {"silence shop- shop- 121m", "c n"},
           {"silence shop- shop- unsilence", "c n"},
           {"shop- silence shop- 121m shop+", "c n u"},
           {"silence 60m silence 119m shop- shop- 2m", "c n"},
           {"silence 121m shop- shop-", "c n"},
           // It outlives ends of the engine and stops, but not the monitor.
           {"silence kill shop- shop- 119m", ""},
           {"silence kill shop- shop- 121m", "c n"},
           {"silence restart shop- restart shop- 119m", ""},
           {"silence shop- shop- kill 121m shop-", "c n"},
           {"silence unsilence kill shop- shop-", "c n"},
           {"silence stop-shop restart start-shop shop- shop-", ""},
           {"silence readd-shop shop- shop-", "c n"},
           {"silence readd-shop kill shop- shop-", "c n"},
           {"silence load shop- shop-", ""},
           {"silence clock-back 121m shop- shop-", "c n"},
           {"silence clock-back 1m kill 100m shop- shop-", ""},
           {"silence clock-back 1m kill 121m shop- shop-", "c n"},
           // What was started is undone.
           {"shop- silence shop+", "c u"},
           // Messages that are owed wait as well, but for one in flight.
           {"modem-off shop- shop- silence modem-on 60m", "c n"},
           {"modem-off shop- shop- silence modem-on 60m 61m 1m", "c n n"},
           {"modem-off shop- shop- silence kill 60m 61m 1m", "c n n"},
           {"modem-off shop- shop- silence shop+ modem-on 121m 10m", "c n u"},
           {"modem-slow shop- shop- silence shop+ modem-answers 121m", "c n u"},
           // A parent that is down holds messages, not commands, ...
           {"router- shop- shop- shop- 600m", "c:router c"},
           {"router- shop- shop- router+ 0m", "c:router c u:router"},
           {"router- shop- shop- shop+ router+ 2m", "c:router c u u:router"},
           {"switch- shop- shop- switch+ shop- 2m", "c:switch c u:switch n"},
           {"router- kill shop- shop- shop-", "c:router c"},
           {"modem-off shop- shop- router- modem-on 60m", "c n c:router"},
           {"modem-off shop- shop- router- modem-on router+ shop- 10m 1m", "c n c:router u:router n"},
           // ... until it is back for an interval and a check since then has failed too, ...
           {"router- shop- shop- router+ 2m", "c:router c u:router"},
           {"router- shop- shop- router+ shop- 0m", "c:router c u:router"},
           {"router- shop- shop- router+ shop- 1m", "c:router c u:router n"},
           {"router- shop- shop- router+ 2m shop-", "c:router c u:router n"},
           {"router- shop- shop- router+ kill shop-", "c:router c u:router n"},
           // ... or watched no more.
           {"router- shop- shop- stop-router 0m", "c:router c n"},
           {"router- shop- shop- remove-router 0m", "c:router c n"},
           {"router- shop- shop- load shop- shop-", "c:router c"},
           // So does one that fails and may be down, or that nobody has looked at since, ...
           {"patient-router router- shop- shop- shop-", "c"},
           {"patient-router router- shop- shop- router+ 0m", "c"},
           {"patient-router router- shop- shop- router+ shop- 1m", "c n"},
           {"parents-late shop- shop- router-", "c c:router"},
           {"parents-late shop- shop- router+ 0m", "c"},
           {"parents-late shop- shop- router+ switch+ 0m", "c n"},
           {"parents-late shop- shop- 3m", "c n"},
           // ... but one that comes and goes only for a while.
           {"router- shop- shop- router+ router- 1m shop- router+ 1m",
            "c:router c u:router c:router u:router"},
           {"router- shop- shop- router+ router- 2m shop- router+ 2m",
            "c:router c u:router c:router u:router n"},
           {"parent-router switch- shop- shop-", "c:switch c n"},
           {"parent-router router- shop- shop-", "c:router c"},
       }) {
    SCOPED_TRACE(steps);
    EXPECT_EQ(Tell(steps), told) << Log();
  }
}

TEST_F(HoldStory, ExitsAreToldTheEndOnlyOfWhatTheyWereTold) {
  m_hasExits = true;
  for (const auto& [steps, told] : tests::Rows<const char*, const char*>{
           {"shop- shop+", "b a e a"},
           {"shop- stop-shop 1m", "b a e a"},
           {"silence shop- shop- shop+ 121m", ""},
           {"silence shop- kill shop+ 121m", ""},
           {"silence shop- stop-shop unsilence 1m", ""},
           {"silence shop- 121m shop+", "a b e a"},
           {"shop- silence shop- shop+ 121m", "b a a e"},
           {"router- shop- router+ 2m shop+ 2m", ""},
           {"router- shop- router+ 2m shop- 1m shop+", "b a e a"},
           {"modem-off shop- modem-on shop+ 1m", "b a a b e"},
       }) {
    SCOPED_TRACE(steps);
    EXPECT_EQ(Tell(steps), told) << Log();
  }
}

TEST_F(HoldStory, WhatWaitsFollowsTheMonitor) {
  for (const auto& [steps, told] : tests::Rows<const char*, const char*>{
           {"modem-off shop- shop- to-new modem-on 0m", "c n new"},
           {"modem-off shop- shop- to-new restart modem-on 1m 10m", "c n new"},
           {"modem-slow shop- shop- to-new 0m 0m", "c n"},
           {"modem-off shop- shop- no-mode modem-on 10m shop-", "c n"},
           {"modem-off shop- shop- no-mode modem-on 10m mode shop-", "c n n"},
           {"modem-off shop- shop- drop modem-on 10m shop-", "c n"},
           {"modem-off shop- shop- drop modem-on to-new shop- shop-", "c n new"},
           {"shop- shop- to-new shop- 10m", "c n"},
           {"modem-off shop- shop- load modem-on 10m shop- shop+", "c n n u"},
           {"modem-off shop- shop- load-before-shop modem-on 10m", "c n"},
       }) {
    SCOPED_TRACE(steps);
    EXPECT_EQ(Tell(steps), told) << Log();
  }
}

TEST_F(HoldStory, TheLogTellsEachStepOnce) {
  Tell("router- shop- shop- shop- shop- router+ shop- 2m");
  const auto count = [this](const std::string& text) {
    const auto log = Log();
    int found = 0;
    for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
      ++found;
    return found;
  };
  EXPECT_EQ(count("notification held: WebMonitor Of router is down"), 1) << Log();
  EXPECT_EQ(count("no longer held"), 1) << Log();
  Tell("silence shop- shop- shop- shop+ unsilence remove-router shop-");
  EXPECT_EQ(count("shop: silenced until 20"), 1) << Log();
  EXPECT_EQ(count("command held: silenced until 20"), 1) << Log();
  EXPECT_EQ(count("notification held: silenced until 20"), 1) << Log();
  EXPECT_EQ(count("(new disks)"), 4) << "and one for the command for the end" << Log();
  EXPECT_EQ(count("notification dropped: the outage ended while it was held"), 1) << Log();
  EXPECT_EQ(count("silence ends"), 1) << Log();
  Tell("parent-router remove-router shop- shop- shop-");
  EXPECT_EQ(count("Monitor_Parent: no such monitor: WebMonitor Of router"), 1) << Log();
  Tell("modem-off shop- shop- silence 10m 1m 1m");
  EXPECT_EQ(count("notification held: silenced"), 1) << Log();
}

TEST_F(HoldStory, SilencesOutliveADataFileThatCannotBeRead) {
  Tell("silence restart");
  const auto data = m_folder / "NorvaneEngine.dat";
  const auto good = tests::ReadFile(data);
  tests::WriteFile(m_folder / "good.dat", good);
  tests::WriteFile(data, "damaged");
  m_engine.emplace(m_folder.Path());
  EXPECT_EQ(m_engine->service.ActiveSilences().size(), 0u);
  EXPECT_EQ(m_engine->Shutdown(), std::nullopt);
  m_engine.emplace(m_folder.Path());
  EXPECT_EQ(m_engine->Load(m_folder / "good.dat"), std::nullopt);
  EXPECT_EQ(m_engine->service.ActiveSilences().size(), 1u);
}

TEST_F(HoldStory, CirclesAreRefusedAndDoNoHarmInAFile) {
  m_engine.emplace(m_folder.Path());
  auto& service = m_engine->service;
  std::map<std::string, MonitorId> ids;
  for (const char* name : {"a", "b", "c"})
    ids[name] = service.Add("WebMonitor Of " + std::string(name));
  const auto refusal = [&](const char* monitor, const char* parent) -> std::string {
    try {
      service.Set(ids.at(monitor), keys::Parent, "WebMonitor Of " + std::string(parent));
      return {};
    } catch (const console::engine::EngineError& error) {
      return error.what();
    }
  };
  EXPECT_TRUE(refusal("a", "a").ends_with(": WebMonitor Of a -> WebMonitor Of a"));
  EXPECT_EQ(refusal("a", "b"), "");
  EXPECT_EQ(refusal("b", "c"), "");
  EXPECT_EQ(refusal("a", "c"), "");
  EXPECT_EQ(refusal("a", "b"), "");
  EXPECT_TRUE(refusal("c", "a").ends_with(
      ": WebMonitor Of c -> WebMonitor Of a -> WebMonitor Of b -> WebMonitor Of c"));
  EXPECT_EQ(m_engine->Attr("WebMonitor Of c", keys::Parent), "");
  m_engine.reset();

  datafile::Changes changes;
  std::uint32_t number = 0;
  for (const auto& [name, parent] :
       {std::pair{"a", "b"}, {"b", "a"}, {"c", "c"}, {"shop", "d"}, {"d", "a"}}) {
    auto attributes = NewMonitorAttributes();
    attributes.Set(keys::Parent, "WebMonitor Of " + std::string(parent));
    attributes.Set(keys::FailTimes, "1");
    attributes.Set(keys::MaxFailTimes, "1");
    attributes.Set(keys::NotifyMode, "TEL://");
    attributes.Set(keys::NotifyPager, name);
    attributes.Set(keys::LogFile, m_folder / (std::string(name) + ".log"));
    attributes.Set(keys::Status, "Enable");
    changes.rows.push_back(
        {++number, "WebMonitor Of " + std::string(name), std::make_shared<const Attributes>(attributes)});
  }
  changes.total = changes.rows.size();
  ASSERT_TRUE(datafile::Save(m_folder / "circles.dat", changes, ProbeTable(), nullptr));
  m_engine.emplace(m_folder.Path());
  EXPECT_EQ(m_engine->Load(m_folder / "circles.dat"), std::nullopt);
  for (const char* name : {"a", "b", "c", "shop", "shop", "c", "b", "a"})
    m_engine->checks->Report(m_engine->service.Table().Find("WebMonitor Of " + std::string(name))->id, 0,
                             "down");
  m_engine->checks->Report(m_engine->service.Table().Find("WebMonitor Of d")->id, 0, "Ok");
  m_engine->service.OnWake();
  m_engine->service.OnSecond();
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(m_engine->Commit("x", "1"), std::nullopt);
  std::vector<std::string> told;
  for (const auto& message : m_engine->checks->notifications)
    told.push_back(message.to);
  std::ranges::sort(told);
  EXPECT_EQ(told, (std::vector<std::string>{"a", "b", "c", "shop"}));
  m_engine.reset();
  EXPECT_NE(tests::ReadFile(m_folder / "a.log").find("WebMonitor Of a -> WebMonitor Of b -> WebMonitor Of a"),
            std::string::npos);
}

TEST_F(HoldStory, ARefusedSilenceChangesNothing) {
  m_engine.emplace(m_folder.Path());
  m_engine->service.Add("WebMonitor Of shop");
  using Code = console::engine::EngineErrorCode;
  for (const auto& [names, time, code] : tests::Rows<std::vector<std::string>, seconds, Code>{
           {{"WebMonitor Of shop", "WebMonitor Of x"}, minutes(1), Code::NotFound},
           {{"WebMonitor Of shop"}, seconds(0), Code::Invalid},
           {{"WebMonitor Of shop"}, seconds::max(), Code::Invalid},
       }) {
    EXPECT_EQ(m_engine->Await(
                  [&](Completion done) { m_engine->service.Silence(names, time, "", std::move(done)); }),
              code);
    EXPECT_EQ(m_engine->service.ActiveSilences(), Silences{});
  }
}

}  // namespace
}  // namespace norvane::engine
