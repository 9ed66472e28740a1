#include "console/engine/Engine.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "tests/support/Errors.h"
#include "tests/support/FakeEngine.h"

namespace norvane::console::engine {
namespace {

using tests::CodeOf;
using tests::FakeEngine;
using Calls = std::vector<std::string>;

const EngineError Broken(EngineErrorCode::Failed, "broken");

TEST(EngineObjects, EveryOperationReachesTheEngineAndIsAnnouncedInOrder) {
  FakeEngine engine;
  const auto config = engine.NewServiceConfig();
  config->SetService(ServiceName);
  config->SetValue("LogFile", "a.log");
  EXPECT_EQ(engine.ConfigValues().count("LogFile"), 0u) << "held back until Commit";
  config->Commit();
  EXPECT_EQ(config->GetValue("LogFile"), "a.log");
  engine.ConfigValues().erase("LogFile");
  config->Commit();
  EXPECT_EQ(engine.ConfigValues().count("LogFile"), 0u) << "committed once";
  engine.NewControlGate()->Open("fake control pass");

  const auto ref = engine.NewServiceRef();
  ref->SetMachine("box");
  ref->SetClassId(RootClassId);
  const auto root = ref->GetRoot();
  const auto list = ComponentOf<MonitorList>(*root, *ref);
  ref->SetMonitorName("WebMonitor Of a");
  list->Add(*ref);
  list->Resolve(*ref);
  auto item = ref->GetMonitor();
  EXPECT_EQ(item->Name(), "WebMonitor Of a");
  EXPECT_EQ(item->TypeName(), "WebMonitor");
  EXPECT_EQ(item->Kind(), 0);
  item->SetAttr("Status", "Enable");
  EXPECT_EQ(item->GetAttr("Status"), "Enable");
  const auto runner = item->Runner();
  runner->Init(item);
  EXPECT_EQ(runner->Monitor(item), 0);
  EXPECT_EQ(runner->Notify(item), 0);
  const auto store = ComponentOf<ServiceStore>(*root, *ref);
  store->Save("a.dat");
  store->Load("a.dat");
  EXPECT_EQ(list->Count(), 1);
  EXPECT_EQ(list->Item(1)->Name(), "WebMonitor Of a");
  list->Remove(*ref);
  const auto types = ComponentOf<MonitorTypeList>(*root, *ref);
  EXPECT_EQ(types->Count(), 3);
  EXPECT_EQ(types->Item(2)->Name(), "Pop3Monitor");
  EXPECT_EQ(engine.NewMonitorList()->Count(), 0);
  (void)static_cast<EngineFactory&>(engine).Fetch("http://a", std::chrono::seconds(10));

  EXPECT_EQ(engine.TakeCalls(), (Calls{"New ServiceConfig",
                                       R"(SetService("NorvaneEngine"))",
                                       R"(SetValue("LogFile", "a.log"))",
                                       "Commit",
                                       R"(GetValue("LogFile"))",
                                       "Commit",
                                       "New ControlGate",
                                       R"(Open("fake control pass"))",
                                       "New ServiceRef",
                                       R"(SetMachine("box"))",
                                       R"(SetClassId("{1B2D038B-C28B-11D3-9CCC-00A0246E266E}"))",
                                       "GetRoot",
                                       R"(GetComponent("{722FC7DE-64E6-11D3-9CA3-00A0246E266E}"))",
                                       R"(SetMonitorName("WebMonitor Of a"))",
                                       R"(Add("WebMonitor Of a"))",
                                       R"(Resolve("WebMonitor Of a"))",
                                       "GetMonitor",
                                       "Name",
                                       "TypeName",
                                       "Kind",
                                       R"(SetAttr("Status", "Enable"))",
                                       R"(GetAttr("Status"))",
                                       "Runner",
                                       R"(Init("WebMonitor Of a"))",
                                       R"(Monitor("WebMonitor Of a"))",
                                       R"(Notify("WebMonitor Of a"))",
                                       R"(GetComponent("{24ADEE03-682A-11D3-9CA3-00A0246E266E}"))",
                                       R"(Save("a.dat"))",
                                       R"(Load("a.dat"))",
                                       "Count",
                                       "Item(1)",
                                       "Name",
                                       R"(Remove("WebMonitor Of a"))",
                                       R"(GetComponent("{1B2D03AA-C28B-11D3-9CCC-00A0246E266E}"))",
                                       "MonitorTypeList.Count",
                                       "MonitorTypeList.Item(2)",
                                       "MonitorType.Name",
                                       "New MonitorList",
                                       "Count",
                                       R"(Fetch("http://a", 10000))"}));
}

TEST(EngineObjects, RefuseWhatComesOutOfOrderOrIsUnknown) {
  FakeEngine engine;
  const auto config = engine.NewServiceConfig();
  const auto ref = engine.NewServiceRef();
  const auto wrong = engine.NewServiceRef();
  wrong->SetMachine("box");
  wrong->SetClassId("{00000000-0000-0000-0000-000000000000}");
  const auto right = engine.NewServiceRef();
  right->SetMachine("box");
  right->SetClassId(RootClassId);
  const auto root = right->GetRoot();
  const auto types = ComponentOf<MonitorTypeList>(*root, *right);
  const std::pair<EngineErrorCode, std::function<void()>> rows[] = {
      {EngineErrorCode::Invalid, [&] { config->SetService("Another"); }},
      {EngineErrorCode::Invalid, [&] { config->SetValue("LogFile", "x"); }},
      {EngineErrorCode::Invalid, [&] { config->Commit(); }},
      {EngineErrorCode::Invalid, [&] { return config->GetValue("LogFile"); }},
      {EngineErrorCode::Invalid, [&] { return ref->GetRoot(); }},
      {EngineErrorCode::Invalid, [&] { return wrong->GetRoot(); }},
      {EngineErrorCode::NotFound, [&] { return root->GetComponent("{?}", *right); }},
      {EngineErrorCode::NotFound, [&] { return types->Item(0); }},
      {EngineErrorCode::NotFound, [&] { return types->Item(4); }},
  };
  for (const auto& row : rows)
    EXPECT_EQ(CodeOf(row.second), row.first) << &row - rows;
}

TEST(EngineObjects, AReferenceThatNoLongerResolvesHasNoMonitor) {
  FakeEngine engine;
  engine.Place("WebMonitor Of a");
  const auto ref = engine.NewServiceRef();
  ref->SetMonitorName("WebMonitor Of a");
  engine.NewMonitorList()->Resolve(*ref);
  EXPECT_EQ(ref->GetMonitor()->Name(), "WebMonitor Of a");
  ref->SetMonitorName("WebMonitor Of b");
  EXPECT_EQ(CodeOf([&] { engine.NewMonitorList()->Resolve(*ref); }), EngineErrorCode::NotFound);
  EXPECT_EQ(CodeOf([&] { return ref->GetMonitor(); }), EngineErrorCode::NotFound);
}

TEST(EngineObjects, ARunnerHandsBackTheMonitorThatTheEngineGoesOnWith) {
  FakeEngine engine;
  engine.OpenGate();
  engine.Place("WebMonitor Of a");
  engine.Place("WebMonitor Of b");
  auto item = engine.NewMonitorList()->Item(1);
  const auto given = item;
  const auto runner = item->Runner();
  EXPECT_EQ(runner->Monitor(item), 0);
  EXPECT_EQ(item, given);
  engine.notifyAnswer = {.result = -5, .replaceBy = "WebMonitor Of b"};
  EXPECT_LT(runner->Notify(item), 0);
  EXPECT_EQ(item->Name(), "WebMonitor Of b");
}

TEST(EngineObjects, AnObserverSeesACallBeforeItTakesEffectAndMayFailIt) {
  FakeEngine engine;
  engine.OpenGate();
  engine.Place("WebMonitor Of a");
  const auto item = engine.NewMonitorList()->Item(1);
  engine.During("SetAttr", [&] { EXPECT_EQ(engine.At("WebMonitor Of a").attributes.count("key"), 0u); });
  engine.FailOnce("SetAttr", Broken, 2);
  item->SetAttr("key", "1");
  engine.During("SetAttr", [] {});
  EXPECT_EQ(CodeOf([&] { item->SetAttr("key", "2"); }), EngineErrorCode::Failed);
  EXPECT_EQ(item->GetAttr("key"), "1");
  item->SetAttr("key", "3");
  engine.FailAlways("SetAttr", Broken);
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(CodeOf([&] { item->SetAttr("key", "4"); }), EngineErrorCode::Failed);
  engine.Mend("SetAttr");
  EXPECT_EQ(item->GetAttr("key"), "3");
}

}  // namespace
}  // namespace norvane::console::engine
