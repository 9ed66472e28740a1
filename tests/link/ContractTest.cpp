#include <gtest/gtest.h>

#include <functional>

#include "console/engine/MonitorKeys.h"
#include "platform/FileNames.h"
#include "tests/link/RunningEngine.h"
#include "tests/support/Errors.h"
#include "tests/support/FakeEngine.h"

// What every port to an engine must do; run against the real link and against the fake that the tests of the
// forms use.

namespace norvane::tests {
namespace {

namespace ce = console::engine;
namespace keys = ce::keys;
using ce::EngineErrorCode;
using ce::Port;
using Names = std::vector<std::string>;

/// A new engine and one console's port to it, whose gate is closed.
class World {
 public:
  virtual ~World() = default;
  virtual Port& Console() = 0;
  /// The next checks of this monitor fail.
  virtual void FailChecks(const std::string& fullName) = 0;
  virtual void EndEngine() = 0;
};

class FakeWorld : public World {
 public:
  Port& Console() override { return m_port; }
  void FailChecks(const std::string&) override { m_port.monitorAnswer.result = -1; }
  void EndEngine() override { m_port.EndEngine(); }

 private:
  FakePort m_port;
};

class LinkWorld : public World {
 public:
  LinkWorld() { m_engine.emplace(m_folder.Path()); }
  Port& Console() override { return m_client; }
  void FailChecks(const std::string& fullName) override {
    m_engine->Do([&](engine::Service&, FakeWorker& checks) { checks.outcomes[fullName] = "refused"; });
  }
  void EndEngine() override { m_engine.reset(); }

 private:
  loopback::TempFolder m_folder;
  std::optional<RunningEngine> m_engine;
  link::EngineClient m_client{ClientOptions(m_folder.Path())};
};

template <class T>
std::unique_ptr<World> Make() {
  return std::make_unique<T>();
}

class PortContract : public testing::TestWithParam<std::pair<const char*, std::unique_ptr<World> (*)()>> {
 protected:
  Names All() {
    Names names;
    for (const auto& monitor : port.Snapshot())
      names.push_back(monitor->name);
    return names;
  }
  ce::MonitorId Added(const std::string& name) {
    port.Add(name);
    return port.Find(name);
  }
  std::string Value(ce::MonitorId id, std::string_view key) { return std::string(port.Get(id)->Get(key)); }

  std::unique_ptr<World> world = GetParam().second();
  Port& port = world->Console();
};

INSTANTIATE_TEST_SUITE_P(Ports, PortContract,
                         testing::Values(std::pair{"Fake", &Make<FakeWorld>},
                                         std::pair{"Link", &Make<LinkWorld>}),
                         [](const auto& row) { return std::string(row.param.first); });

TEST_P(PortContract, AnAddedMonitorIsStoppedAndAtTheEndOfTheList) {
  ce::OpenGate(port);
  const auto first = Added("WebMonitor Of b");
  for (const auto* name : {"Pop3Monitor Of a", "SmtpMonitor Of c Of d"})
    port.Add(name);
  port.Remove("Pop3Monitor Of a");
  port.Add("Pop3Monitor Of a");
  EXPECT_EQ(All(), (Names{"WebMonitor Of b", "SmtpMonitor Of c Of d", "Pop3Monitor Of a"}));
  EXPECT_EQ(port.Count(), 3u);
  EXPECT_EQ(port.IdAt(1), first);
  EXPECT_EQ(port.Get(port.IdAt(3))->name, "Pop3Monitor Of a");
  for (const int position : {-1, 0, 4})
    EXPECT_EQ(CodeOf([&] { return port.IdAt(position); }), EngineErrorCode::NotFound);
  std::string values;
  for (const auto key :
       {keys::Status, keys::Interval, keys::Timeout, keys::MaxFailTimes, keys::FailTimes, keys::Parameter})
    values += Value(first, key) + ";";
  EXPECT_EQ(values, "Disable;60;30;2;2;;");

  std::string types;
  for (const auto& type : port.Info().monitorTypes)
    types += type.name + (type.hasPage ? " with page;" : ";");
  EXPECT_EQ(types, "WebMonitor with page;Pop3Monitor with page;SmtpMonitor with page;");
}

TEST_P(PortContract, SelectsMonitorsAsPeopleNameThem) {
  ce::OpenGate(port);
  const std::string shop = "WebMonitor Of shop", mail = "Pop3Monitor Of mail", star = "WebMonitor Of sh*p",
                    out = "SmtpMonitor Of mail", wide = "WebMonitor Of \xc3\xa4\xc3\xb6";
  const Names all = {shop, mail, star, out, wide};
  for (const auto& name : all)
    port.Add(name);
  struct Row {
    Names names, selected;
    EngineErrorCode error = EngineErrorCode::Gone;
    std::string says = "";
  };
  const Row rows[] = {
      {{}, all},
      {{shop}, {shop}},
      {{mail, "shop", shop, "*op"}, {mail, shop}},
      {{"sh*p"}, {star}},
      {{"sh*p*"}, {shop, star}},
      {{"*Of ????"}, {shop, mail, star, out}},
      {{"*Of ??", "*M*Of mail"}, {wide, mail, out}},
      {{"**p"}, {shop, star}},
      {{shop, "sho"}, {}, EngineErrorCode::NotFound, "no such monitor: sho"},
      {{shop, "shop?"}, {}, EngineErrorCode::NotFound, "no monitor matches shop?"},
      {{"mail"}, {}, EngineErrorCode::Invalid, "mail is the name of several monitors: " + mail + ", " + out},
      {{""}, {}, EngineErrorCode::NotFound, "no such monitor: "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.names));
    Names selected;
    std::string text;
    const auto select = [&] {
      for (const auto& monitor : port.Select(row.names))
        selected.push_back(monitor.name);
    };
    if (row.says.empty()) {
      select();
    } else {
      EXPECT_EQ(CodeOf(select, &text), row.error);
    }
    EXPECT_EQ(selected, row.selected);
    EXPECT_EQ(text, row.says);
  }
  const auto first = port.IdAt(1);
  port.SetAttribute(first, keys::Parameter, "x");
  port.Remove(mail);
  const auto read = port.Read({port.IdAt(2), first + 1, first});
  ASSERT_EQ(read.size(), 2u) << "one is gone";
  EXPECT_EQ(read[0]->name, star);
  EXPECT_EQ(read[1]->Get(keys::Parameter), "x");
}

TEST_P(PortContract, RefusesWhatNoMonitorCanHave) {
  ce::OpenGate(port);
  const auto id = Added("WebMonitor Of \xc3\xa4 %d \xe6\x9c\xac ");
  for (const auto& name : Names{"WebMonitor Of ", "shop", "", "ServerMonitor Of x", "webmonitor Of x",
                                "WebMonitor Of a\nb", "WebMonitor Of " + std::string(2000, 'x')})
    EXPECT_EQ(CodeOf([&] { port.Add(name); }), EngineErrorCode::Invalid) << name;
  EXPECT_EQ(CodeOf([&] { port.Add(port.Get(id)->name); }), EngineErrorCode::Exists);
  const std::string mebibyte(1 << 20, 'v');
  for (const auto& [key, value] : {std::pair{std::string(keys::Parameter), mebibyte + "v"},
                                   {std::string(), std::string("v")},
                                   {std::string(300, 'k'), std::string("v")}})
    EXPECT_EQ(CodeOf([&] { port.SetAttribute(id, key, value); }), EngineErrorCode::Invalid);
  EXPECT_EQ(port.Count(), 1u);

  for (const auto& value : {std::string("a\0b", 3), std::string("\xf0\x9f\x98\x80\r\n %s "), mebibyte})
    for (const auto key : {keys::Parameter, std::string_view("a key of a later version")}) {
      port.SetAttribute(id, key, value);
      EXPECT_TRUE(Value(id, key) == value) << "byte for byte";
    }
}

TEST_P(PortContract, ARemovedMonitorIsNotFoundThoughAnotherHasItsName) {
  ce::OpenGate(port);
  const auto id = Added("WebMonitor Of a");
  port.Remove("WebMonitor Of a");
  EXPECT_EQ(CodeOf([&] { port.Remove("WebMonitor Of a"); }), EngineErrorCode::NotFound);
  EXPECT_EQ(CodeOf([&] { return port.Find("WebMonitor Of a"); }), EngineErrorCode::NotFound);
  const auto another = Added("WebMonitor Of a");
  const std::function<void()> calls[] = {
      [&] { return port.Get(id); },    [&] { port.SetAttribute(id, keys::Status, "Enable"); },
      [&] { return port.Init(id); },   [&] { return port.Check(id); },
      [&] { return port.Notify(id); },
  };
  for (const auto& call : calls)
    EXPECT_EQ(CodeOf(call), EngineErrorCode::NotFound) << &call - calls;
  EXPECT_EQ(Value(another, keys::Status), "Disable");
}

TEST_P(PortContract, TheGateHoldsBackAllThatChangesAnything) {
  EXPECT_EQ(CodeOf([&] { port.OpenGate("guessed"); }), EngineErrorCode::Refused);
  const std::function<void()> calls[] = {
      [&] { port.Add("WebMonitor Of a"); },
      [&] { port.Remove("WebMonitor Of a"); },
      [&] { port.SetAttribute(1, "key", "v"); },
      [&] { return port.Init(1); },
      [&] { return port.Check(1); },
      [&] { return port.Notify(1); },
      [&] { port.DropOwed({}); },
      [&] { port.Silence({}, std::chrono::hours(1), ""); },
      [&] { port.Unsilence({}); },
      [&] { port.Save("/nowhere/monitors.dat"); },
      [&] { port.Load("/nowhere/monitors.dat"); },
      [&] {
        port.CommitServiceValues({{"LogFile", "x.log"}});
      },
  };
  for (const auto& call : calls)
    EXPECT_EQ(CodeOf(call), EngineErrorCode::Refused) << &call - calls;
  EXPECT_EQ(port.Count(), 0u);
  EXPECT_EQ(port.ServiceValue("LogFile"), "");
  const auto own = platform::PathIn(port.Info().folder, platform::files::EngineData);
  EXPECT_EQ(CodeOf([&] { port.Load(own); }), EngineErrorCode::NotFound)
      << "every console does so at its start";
}

TEST_P(PortContract, ServiceValuesButTheControlPassMayBeSet) {
  ce::OpenGate(port);
  port.CommitServiceValues({{"BackupFile", "b.dat"}, {"LogFile", "\\log\\NorvaneLog%d%m%y.log"}});
  EXPECT_EQ(port.ServiceValue("BackupFile"), "b.dat");
  EXPECT_EQ(port.ServiceValue("LogFile"), "\\log\\NorvaneLog%d%m%y.log");
  EXPECT_EQ(port.ServiceValue("never set"), "");
  const auto pass = port.ServiceValue(ce::service::ControlPass);
  EXPECT_NE(pass, "");
  EXPECT_EQ(CodeOf([&] { port.CommitServiceValues({{"ControlPass", "mine"}}); }), EngineErrorCode::Invalid);
  EXPECT_EQ(port.ServiceValue(ce::service::ControlPass), pass);
}

TEST_P(PortContract, LoadReplacesAllMonitorsOrNone) {
  const loopback::TempFolder folder;
  const auto file = folder / "monitors.dat";
  ce::OpenGate(port);
  EXPECT_EQ(CodeOf([&] { port.Load(file); }), EngineErrorCode::NotFound);
  const auto id = Added("WebMonitor Of a");
  port.SetAttribute(id, keys::Parameter, "saved");
  port.Save(file);
  port.SetAttribute(id, keys::Parameter, "changed");
  port.Add("WebMonitor Of b");
  EXPECT_EQ(CodeOf([&] { port.Load(file + ".not"); }), EngineErrorCode::NotFound);
  EXPECT_EQ(All(), (Names{"WebMonitor Of a", "WebMonitor Of b"}));

  port.Load(file);
  EXPECT_EQ(All(), Names{"WebMonitor Of a"});
  EXPECT_EQ(Value(port.IdAt(1), keys::Parameter), "saved");
  EXPECT_EQ(CodeOf([&] { return port.Get(id); }), EngineErrorCode::NotFound);
}

TEST_P(PortContract, ARunHasItsOutcome) {
  ce::OpenGate(port);
  const auto id = Added("WebMonitor Of a");
  EXPECT_EQ(port.Init(id), id);
  const auto good = port.Check(id);
  EXPECT_TRUE(good.good);
  EXPECT_EQ(good.reason, "Ok");
  EXPECT_EQ(good.monitor, id);
  world->FailChecks("WebMonitor Of a");
  const auto bad = port.Check(id);
  EXPECT_FALSE(bad.good);
  EXPECT_NE(bad.reason, "Ok");
  EXPECT_EQ(bad.monitor, id);
}

TEST_P(PortContract, EverythingFailsOnceTheEngineHasGone) {
  ce::OpenGate(port);
  const auto id = Added("WebMonitor Of a");
  world->EndEngine();
  while (!CodeOf([&] { return port.Count(); }).has_value()) {  // until the socket is closed, a moment later
  }
  const std::function<void()> calls[] = {
      [&] { return port.Info(); },
      [&] { return port.Count(); },
      [&] { return port.IdAt(1); },
      [&] { return port.Find("WebMonitor Of a"); },
      [&] { return port.Get(id); },
      [&] { return port.Snapshot(); },
      [&] { return port.Select({}); },
      [&] { return port.WaitForUpdate(0, std::chrono::milliseconds(1)); },
      [&] { return port.ServiceValue("LogFile"); },
      [&] { port.OpenGate("x"); },
      [&] { port.CommitServiceValues({}); },
      [&] { port.Load("/nowhere/monitors.dat"); },
      [&] { port.Save("/nowhere/monitors.dat"); },
      [&] { port.Add("WebMonitor Of b"); },
      [&] { port.SetAttribute(id, keys::Status, "Enable"); },
      [&] { return port.Check(id); },
  };
  for (const auto& call : calls)
    EXPECT_EQ(CodeOf(call), EngineErrorCode::Gone) << &call - calls;
}

}  // namespace
}  // namespace norvane::tests
