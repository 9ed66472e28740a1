#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "console/engine/MonitorKeys.h"
#include "tests/link/EngineWorld.h"
#include "tests/support/Errors.h"
#include "tests/support/Rows.h"

// What every implementation of the engine's objects must do; run against the real link and against the fake
// that the tests of the forms use.

namespace norvane::tests {
namespace {

namespace ce = console::engine;
namespace keys = ce::keys;
using ce::EngineErrorCode;
using Names = std::vector<std::string>;
using Item = std::shared_ptr<ce::MonitorItem>;

/// One console as a form uses it.
class Console {
 public:
  explicit Console(EngineWorld& world)
      : factory(world.NewConsole()), ref(factory->NewServiceRef()), list(factory->NewMonitorList()) {}

  std::string ControlPass() { return NamedConfig()->GetValue(ce::service::ControlPass); }
  void OpenGate() { factory->NewControlGate()->Open(ControlPass()); }
  std::shared_ptr<ce::ServiceConfig> NamedConfig() {
    auto config = factory->NewServiceConfig();
    config->SetService(ce::ServiceName);
    return config;
  }
  std::shared_ptr<ce::ServiceRoot> Root() {
    ref->SetMachine("box");
    ref->SetClassId(ce::RootClassId);
    return ref->GetRoot();
  }
  template <class T>
  std::shared_ptr<T> Component() {
    return ce::ComponentOf<T>(*Root(), *ref);
  }
  void Add(const std::string& name) {
    ref->SetMonitorName(name);
    list->Add(*ref);
  }
  void Remove(const std::string& name) {
    ref->SetMonitorName(name);
    list->Remove(*ref);
  }
  Item Find(const std::string& name) {
    ref->SetMonitorName(name);
    list->Resolve(*ref);
    return ref->GetMonitor();
  }
  Item Added(const std::string& name) {
    Add(name);
    return Find(name);
  }
  Names All() {
    Names names;
    for (int i = 1; i <= list->Count(); ++i)
      names.push_back(list->Item(i)->Name());
    return names;
  }

  std::unique_ptr<ce::EngineFactory> factory;
  std::shared_ptr<ce::ServiceRef> ref;
  std::shared_ptr<ce::MonitorList> list;
};

/// Waits for what another console did; only its own writes does a console see at once.
bool Eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

struct Implementation {
  const char* name;
  std::unique_ptr<EngineWorld> (*make)();
};

class EngineContract : public testing::TestWithParam<Implementation> {
 protected:
  std::unique_ptr<EngineWorld> world = GetParam().make();
  Console console{*world};
};

INSTANTIATE_TEST_SUITE_P(Implementations, EngineContract,
                         testing::Values(Implementation{"Fake", MakeFakeWorld},
                                         Implementation{"Link", MakeLinkWorld}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(EngineContract, AnAddedMonitorStandsStoppedAtTheEndOfTheList) {
  console.OpenGate();
  console.Add("WebMonitor Of b");
  console.Add("Pop3Monitor Of a");
  console.Add("SmtpMonitor Of c Of d");
  console.Remove("Pop3Monitor Of a");
  console.Add("Pop3Monitor Of a");
  EXPECT_EQ(console.All(), (Names{"WebMonitor Of b", "SmtpMonitor Of c Of d", "Pop3Monitor Of a"}));
  const auto item = console.list->Item(2);
  EXPECT_EQ(item->TypeName(), "SmtpMonitor");
  EXPECT_EQ(item->Kind(), 0);
  std::string values;
  for (const auto key :
       {keys::Status, keys::Interval, keys::Timeout, keys::MaxFailTimes, keys::FailTimes, keys::Parameter})
    values += item->GetAttr(key) + ";";
  EXPECT_EQ(values, "Disable;60;30;2;2;;");
  for (const int index : {-1, 0, 4})
    EXPECT_EQ(CodeOf([&] { return console.list->Item(index); }), EngineErrorCode::NotFound);
}

TEST_P(EngineContract, RefusesNamesThatNoMonitorCanHave) {
  console.OpenGate();
  const Names good = {"WebMonitor Of shop", "WebMonitor Of SHOP", "WebMonitor Of \xc3\xa4 %d \xe6\x9c\xac ",
                      "SmtpMonitor Of c Of d"};
  for (const auto& name : good)
    console.Add(name);
  EXPECT_EQ(CodeOf([&] { console.Add(good[0]); }), EngineErrorCode::Exists);
  for (const auto& name :
       Names{"WebMonitor Of ", "WebMonitor", "shop", "", "ServerMonitor Of x", "webmonitor Of x",
             "WebMonitor Of a\nb", "WebMonitor Of " + std::string(2000, 'x')})
    EXPECT_EQ(CodeOf([&] { console.Add(name); }), EngineErrorCode::Invalid) << name;
  EXPECT_EQ(console.All(), good);
}

TEST_P(EngineContract, AReferenceGivesTheMonitorThatItWasLastResolvedTo) {
  console.OpenGate();
  console.Add("WebMonitor Of a");
  const auto ref = console.factory->NewServiceRef();
  ref->SetMonitorName("WebMonitor Of a");
  EXPECT_EQ(CodeOf([&] { return ref->GetMonitor(); }), EngineErrorCode::NotFound)
      << "nothing was resolved yet";
  console.factory->NewMonitorList()->Resolve(*ref);
  EXPECT_EQ(ref->GetMonitor()->Name(), "WebMonitor Of a");
  ref->SetMonitorName("WebMonitor Of b");
  EXPECT_EQ(CodeOf([&] { console.list->Resolve(*ref); }), EngineErrorCode::NotFound);
  EXPECT_EQ(CodeOf([&] { return ref->GetMonitor(); }), EngineErrorCode::NotFound);
}

TEST_P(EngineContract, ValuesComeBackByteForByte) {
  console.OpenGate();
  const auto item = console.Added("WebMonitor Of a");
  for (const auto& [name, value] : Rows<const char*, std::string>{
           {"blanks at the ends", "  x  "},
           {"percent signs", "%d%m%y 100%% %s"},
           {"not ASCII", "\xc3\xa4\xe6\x9c\xac\xf0\x9f\x98\x80"},
           {"lines", "a\r\nb\n"},
           {"a NUL inside", std::string("a\0b", 3)},
           {"1 MiB", std::string(1 << 20, 'v')},
           {"empty again", ""},
       })
    for (const auto key : {keys::Parameter, std::string_view("a key of a later version")}) {
      item->SetAttr(key, value);
      EXPECT_TRUE(item->GetAttr(key) == value) << name;
      EXPECT_TRUE(console.Find("WebMonitor Of a")->GetAttr(key) == value) << name;
    }
  EXPECT_EQ(item->GetAttr("never set"), "");
  EXPECT_EQ(item->GetAttr(""), "");
  EXPECT_EQ(CodeOf([&] { item->SetAttr(keys::Parameter, std::string((1 << 20) + 1, 'v')); }),
            EngineErrorCode::Invalid);
  EXPECT_EQ(CodeOf([&] { item->SetAttr("", "v"); }), EngineErrorCode::Invalid);
  EXPECT_EQ(CodeOf([&] { item->SetAttr(std::string(300, 'k'), "v"); }), EngineErrorCode::Invalid);
}

TEST_P(EngineContract, ARemovedMonitorIsNotFoundEvenIfItsNameIsTakenAgain) {
  console.OpenGate();
  const auto item = console.Added("WebMonitor Of a");
  const auto runner = item->Runner();
  console.Remove("WebMonitor Of a");
  EXPECT_EQ(console.list->Count(), 0);
  EXPECT_EQ(CodeOf([&] { console.Remove("WebMonitor Of a"); }), EngineErrorCode::NotFound);
  console.Add("WebMonitor Of a");
  auto given = item;
  const std::function<void()> calls[] = {
      [&] { return item->Name(); },
      [&] { return item->TypeName(); },
      [&] { return item->Kind(); },
      [&] { return item->GetAttr(keys::Status); },
      [&] { item->SetAttr(keys::Status, "Enable"); },
      [&] { return item->Runner(); },
      [&] { runner->Init(given); },
      [&] { return runner->Monitor(given); },
      [&] { return runner->Notify(given); },
  };
  for (const auto& call : calls)
    EXPECT_EQ(CodeOf(call), EngineErrorCode::NotFound) << &call - calls;
  EXPECT_EQ(console.Find("WebMonitor Of a")->GetAttr(keys::Status), "Disable");
}

TEST_P(EngineContract, TheGateHoldsBackAllThatChangesMonitors) {
  {
    Console owner(*world);
    owner.OpenGate();
    owner.Add("WebMonitor Of a");
  }
  EXPECT_EQ(CodeOf([&] { console.factory->NewControlGate()->Open("guessed"); }), EngineErrorCode::Refused);
  auto item = console.Find("WebMonitor Of a");
  const auto store = console.Component<ce::ServiceStore>();
  const auto runner = item->Runner();
  const std::pair<const char*, std::function<void()>> calls[] = {
      {"SetAttr", [&] { item->SetAttr(keys::Interval, "5"); }},
      {"Init", [&] { runner->Init(item); }},
      {"Monitor", [&] { return runner->Monitor(item); }},
      {"Save", [&] { store->Save(world->DataFile()); }},
      {"Add", [&] { console.Add("WebMonitor Of b"); }},
      {"Remove", [&] { console.Remove("WebMonitor Of a"); }},
  };
  for (const auto& [name, call] : calls)
    EXPECT_EQ(CodeOf(call), EngineErrorCode::Refused) << name;
  EXPECT_EQ(console.All(), Names{"WebMonitor Of a"});
  EXPECT_EQ(item->GetAttr(keys::Interval), "60");

  console.OpenGate();
  for (const auto& [name, call] : calls)
    EXPECT_EQ(CodeOf(call), std::nullopt) << name;
  EXPECT_EQ(console.All(), Names{"WebMonitor Of b"});
}

TEST_P(EngineContract, ServiceValuesCountOnceCommitted) {
  const auto unnamed = console.factory->NewServiceConfig();
  EXPECT_EQ(CodeOf([&] { unnamed->SetService("Another"); }), EngineErrorCode::Invalid);
  EXPECT_EQ(CodeOf([&] { unnamed->SetValue("LogFile", "x"); }), EngineErrorCode::Invalid);
  EXPECT_EQ(CodeOf([&] { return unnamed->GetValue("LogFile"); }), EngineErrorCode::Invalid);

  const auto config = console.NamedConfig();
  config->SetValue("BackupFile", "b.dat");
  config->SetValue("LogFile", "\\log\\NorvaneLog%d%m%y.log");
  EXPECT_EQ(console.NamedConfig()->GetValue("BackupFile"), "");
  config->Commit();
  EXPECT_EQ(console.NamedConfig()->GetValue("BackupFile"), "b.dat");
  EXPECT_EQ(console.NamedConfig()->GetValue("LogFile"), "\\log\\NorvaneLog%d%m%y.log");
  EXPECT_EQ(config->GetValue("never set"), "");

  const auto pass = console.ControlPass();
  EXPECT_NE(pass, "");
  config->SetValue(ce::service::ControlPass, "mine");
  EXPECT_EQ(CodeOf([&] { config->Commit(); }), EngineErrorCode::Invalid);
  EXPECT_EQ(console.ControlPass(), pass);
}

TEST_P(EngineContract, TheRootGivesTheComponentsThatItKnows) {
  const auto ref = console.factory->NewServiceRef();
  EXPECT_EQ(CodeOf([&] { return ref->GetRoot(); }), EngineErrorCode::Invalid);
  ref->SetMachine("box");
  ref->SetClassId("{00000000-0000-0000-0000-000000000000}");
  EXPECT_EQ(CodeOf([&] { return ref->GetRoot(); }), EngineErrorCode::Invalid);

  const auto root = console.Root();
  EXPECT_NE(ce::ComponentOf<ce::MonitorList>(*root, *ref), nullptr);
  EXPECT_NE(ce::ComponentOf<ce::ServiceStore>(*root, *ref), nullptr);
  EXPECT_EQ(CodeOf([&] { return root->GetComponent("{?}", *ref); }), EngineErrorCode::NotFound);

  const auto types = ce::ComponentOf<ce::MonitorTypeList>(*root, *ref);
  ASSERT_NE(types, nullptr);
  Names names;
  for (int i = 1; i <= types->Count(); ++i)
    names.push_back(types->Item(i)->Name());
  EXPECT_EQ(names, (Names{"WebMonitor", "Pop3Monitor", "SmtpMonitor"}));
  for (const int index : {0, 4})
    EXPECT_EQ(CodeOf([&] { return types->Item(index); }), EngineErrorCode::NotFound);
}

TEST_P(EngineContract, LoadReplacesAllMonitorsOrNone) {
  const auto other = world->DataFile() + ".other";
  const auto store = console.Component<ce::ServiceStore>();
  EXPECT_EQ(CodeOf([&] { store->Load(other); }), EngineErrorCode::NotFound);
  console.OpenGate();
  console.Added("WebMonitor Of a")->SetAttr(keys::Parameter, "saved");
  store->Save(world->DataFile());
  store->Load(world->DataFile());
  store->Save(other);
  const auto item = console.Find("WebMonitor Of a");
  item->SetAttr(keys::Parameter, "changed");
  console.Add("WebMonitor Of b");

  store->Load(world->DataFile());
  EXPECT_EQ(item->GetAttr(keys::Parameter), "changed") << "the file that is served already";
  EXPECT_EQ(CodeOf([&] { store->Load(other + ".not"); }), EngineErrorCode::NotFound);
  EXPECT_EQ(console.All(), (Names{"WebMonitor Of a", "WebMonitor Of b"}));

  store->Load(other);
  EXPECT_EQ(console.All(), Names{"WebMonitor Of a"});
  EXPECT_EQ(console.Find("WebMonitor Of a")->GetAttr(keys::Parameter), "saved");
  EXPECT_EQ(CodeOf([&] { return item->Name(); }), EngineErrorCode::NotFound);
}

TEST_P(EngineContract, ARunnerActsOnTheItemThatItIsGiven) {
  console.OpenGate();
  auto good = console.Added("WebMonitor Of good");
  auto bad = console.Added("WebMonitor Of bad");
  const auto runner = good->Runner();
  runner->Init(bad);
  ASSERT_NE(bad, nullptr);
  EXPECT_EQ(runner->Monitor(good), 0);
  EXPECT_EQ(good->Name(), "WebMonitor Of good");
  world->FailChecks(*console.factory, "WebMonitor Of bad");
  EXPECT_LT(runner->Monitor(bad), 0);
  EXPECT_EQ(bad->Name(), "WebMonitor Of bad");
  Item none;
  EXPECT_EQ(CodeOf([&] { return runner->Monitor(none); }), EngineErrorCode::Invalid);
}

TEST_P(EngineContract, ACheckThatIsNotAnsweredTimesOutAndNothingElseSuffers) {
  console.OpenGate();
  auto item = console.Added("WebMonitor Of a");
  const auto runner = item->Runner();
  world->LeaveChecksUnanswered(*console.factory);
  EXPECT_EQ(CodeOf([&] { return runner->Monitor(item); }), EngineErrorCode::TimedOut);
  item->SetAttr(keys::Interval, "5");
  EXPECT_EQ(item->GetAttr(keys::Interval), "5");
  world->AnswerChecks(*console.factory);
  EXPECT_EQ(runner->Monitor(item), 0);
}

TEST_P(EngineContract, TwoConsolesShareTheMonitorsAndNotTheGate) {
  Console other(*world);
  console.OpenGate();
  const auto item = console.Added("WebMonitor Of a");
  EXPECT_TRUE(Eventually([&] { return other.list->Count() == 1; }));
  const auto theirs = other.Find("WebMonitor Of a");
  EXPECT_EQ(CodeOf([&] { theirs->SetAttr(keys::Interval, "7"); }), EngineErrorCode::Refused);
  other.OpenGate();
  theirs->SetAttr(keys::Interval, "7");
  EXPECT_TRUE(Eventually([&] { return item->GetAttr(keys::Interval) == "7"; }));
  other.Remove("WebMonitor Of a");
  EXPECT_TRUE(Eventually([&] { return console.list->Count() == 0; }));
  EXPECT_EQ(CodeOf([&] { item->SetAttr(keys::Interval, "8"); }), EngineErrorCode::NotFound);
}

TEST_P(EngineContract, EveryCallFailsOnceTheEngineHasGoneEvenWhenAnotherInstanceAnswers) {
  console.OpenGate();
  auto item = console.Added("WebMonitor Of a");
  const auto runner = item->Runner();
  const auto store = console.Component<ce::ServiceStore>();
  const auto types = console.Component<ce::MonitorTypeList>();
  const auto config = console.NamedConfig();
  store->Save(world->DataFile());
  const auto everyCallFails = [&] {
    const std::pair<const char*, std::function<void()>> calls[] = {
        {"GetRoot", [&] { return console.Root(); }},
        {"Resolve", [&] { console.list->Resolve(*console.ref); }},
        {"GetMonitor", [&] { return console.ref->GetMonitor(); }},
        {"Count", [&] { return console.list->Count(); }},
        {"Item", [&] { return console.list->Item(1); }},
        {"Add", [&] { console.Add("WebMonitor Of b"); }},
        {"GetAttr", [&] { return item->GetAttr(keys::Status); }},
        {"SetAttr", [&] { item->SetAttr(keys::Status, "Enable"); }},
        {"Monitor", [&] { return runner->Monitor(item); }},
        {"Save", [&] { store->Save(world->DataFile()); }},
        {"types", [&] { return types->Count(); }},
        {"GetValue", [&] { return config->GetValue("LogFile"); }},
        {"Open", [&] { console.factory->NewControlGate()->Open("x"); }},
    };
    for (const auto& [name, call] : calls)
      EXPECT_EQ(CodeOf(call), EngineErrorCode::Gone) << name;
  };
  world->EndEngine();
  // The loss becomes known when the socket closes, a moment later.
  EXPECT_TRUE(Eventually([&] { return CodeOf([&] { console.list->Count(); }) == EngineErrorCode::Gone; }));
  everyCallFails();
  EXPECT_EQ(CodeOf([&] { return Console(*world).list->Count(); }), EngineErrorCode::Gone);

  world->RestartEngine();
  everyCallFails();
  Console later(*world);
  EXPECT_EQ(later.All(), Names{"WebMonitor Of a"});
  EXPECT_EQ(CodeOf([&] { later.Add("WebMonitor Of b"); }), EngineErrorCode::Refused);
}

TEST_P(EngineContract, AFirstCallThatFindsNoEngineMayBeTriedAgain) {
  world->EndEngine();
  EXPECT_EQ(CodeOf([&] { return console.list->Count(); }), EngineErrorCode::Gone);
  world->RestartEngine();
  EXPECT_EQ(console.list->Count(), 0);
}

}  // namespace
}  // namespace norvane::tests
