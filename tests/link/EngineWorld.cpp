#include "tests/link/EngineWorld.h"

#include <optional>

#include "loopback/TempFolder.h"
#include "tests/link/RunningEngine.h"
#include "tests/support/FakeEngine.h"

namespace norvane::tests {

namespace ce = console::engine;

namespace {
constexpr const char* DataFileName = "/NorvaneEngine.dat";

class FakeWorld : public EngineWorld {
 public:
  FakeWorld() { m_first.ServedFile() = DataFileName; }
  std::unique_ptr<ce::EngineFactory> NewConsole() override { return m_first.AnotherConsole(); }
  void EndEngine() override { m_first.EndEngine(); }
  void RestartEngine() override { m_first.RestartEngine(); }
  void LeaveChecksUnanswered(ce::EngineFactory& console) override {
    Fake(console).FailAlways("Monitor", {ce::EngineErrorCode::TimedOut, "the engine did not answer in time"});
  }
  void AnswerChecks(ce::EngineFactory& console) override { Fake(console).Mend("Monitor"); }
  void FailChecks(ce::EngineFactory& console, const std::string&) override {
    Fake(console).monitorAnswer.result = -1;
  }
  std::string DataFile() const override { return DataFileName; }

 private:
  static FakeEngine& Fake(ce::EngineFactory& console) { return dynamic_cast<FakeEngine&>(console); }
  FakeEngine m_first;
};

class LinkWorld : public EngineWorld {
 public:
  LinkWorld() { m_engine.emplace(m_folder.Path()); }
  std::unique_ptr<ce::EngineFactory> NewConsole() override {
    auto options = ClientOptions(m_folder.Path());
    options.runTimeout = std::chrono::milliseconds(200);
    return std::make_unique<link::EngineClient>(options);
  }
  void EndEngine() override { m_engine.reset(); }
  void RestartEngine() override {
    m_engine.reset();
    m_engine.emplace(m_folder.Path());
  }
  void LeaveChecksUnanswered(ce::EngineFactory&) override {
    m_engine->Do([](engine::Service&, ScriptedChecks& checks) { checks.holdChecks = true; });
  }
  void AnswerChecks(ce::EngineFactory&) override {
    m_engine->Do([](engine::Service&, ScriptedChecks& checks) {
      checks.holdChecks = false;
      for (const auto& [id, ticket] : std::exchange(checks.held, {}))
        checks.Report(id, ticket, "too late");
    });
  }
  void FailChecks(ce::EngineFactory&, const std::string& fullName) override {
    m_engine->Do([&](engine::Service&, ScriptedChecks& checks) { checks.outcomes[fullName] = "refused"; });
  }
  std::string DataFile() const override { return m_folder.Path() + DataFileName; }

 private:
  loopback::TempFolder m_folder;
  std::optional<RunningEngine> m_engine;
};
}  // namespace

std::unique_ptr<EngineWorld> MakeFakeWorld() {
  return std::make_unique<FakeWorld>();
}
std::unique_ptr<EngineWorld> MakeLinkWorld() {
  return std::make_unique<LinkWorld>();
}

}  // namespace norvane::tests
