#include <gtest/gtest.h>

#include "console/engine/Limits.h"
#include "engine/store/DataFile.h"
#include "link/EngineClient.h"
#include "platform/FileNames.h"
#include "tests/link/RunningEngine.h"
#include "tests/support/Errors.h"

namespace norvane::tests {
namespace {

namespace ce = console::engine;
namespace keys = ce::keys;
using ce::EngineErrorCode;
using ce::MonitorChange;
using What = MonitorChange::What;

using TransactionTest = LinkTest;

std::vector<MonitorChange> Additions(int count) {
  std::vector<MonitorChange> changes;
  for (int i = 1; i <= count; ++i)
    changes.push_back({What::Add,
                       "WebMonitor Of " + std::to_string(i),
                       {{std::string(keys::Parameter), "http://" + std::to_string(i) + ".example/"}}});
  return changes;
}

/// They go in many messages.
TEST_F(TransactionTest, ChangesAllOrNothing) {
  Start();
  link::EngineClient client(m_options);
  auto changes = Additions(5000);
  EXPECT_EQ(CodeOf([&] { return client.Change(changes, client.LastChange()), 0; }), EngineErrorCode::Refused)
      << "the gate is closed";
  ce::OpenGate(client);
  changes[4998].name = "WebMontor Of 4999";
  EXPECT_EQ(CodeOf([&] { return client.Change(changes, client.LastChange()), 0; }), EngineErrorCode::Invalid);
  EXPECT_EQ(client.Count(), 0u);
  changes[4998].name = "WebMonitor Of 4999";
  client.Change(changes, client.LastChange());
  EXPECT_EQ(client.Count(), 5000u);
  EXPECT_EQ(client.Get(client.IdAt(4999))->Get(keys::Parameter), "http://4999.example/");
}

TEST_F(TransactionTest, RefusesWhatIsTooMuchAtOnce) {
  Start();
  link::EngineClient client(m_options);
  ce::OpenGate(client);
  std::string error;
  std::vector<MonitorChange> changes{{What::Add, "WebMonitor Of a", {}}};
  for (int i = 0; i < 40; ++i)
    changes[0].values.emplace_back("key" + std::to_string(i), std::string(ce::MaxValueSize, 'x'));
  EXPECT_EQ(CodeOf([&] { return client.Change(changes, client.LastChange()), 0; }, &error),
            EngineErrorCode::Invalid)
      << "more than fits into a message";
  EXPECT_NE(error.find("WebMonitor Of a"), std::string::npos);
  changes = Additions(70000);
  EXPECT_EQ(CodeOf([&] { return client.Change(changes, client.LastChange()), 0; }), EngineErrorCode::Full);
  changes = Additions(300);
  for (auto& change : changes)
    change.values[0].second = std::string(ce::MaxValueSize / 2, 'x');
  EXPECT_EQ(CodeOf([&] { return client.Change(changes, client.LastChange()), 0; }), EngineErrorCode::Full);
  EXPECT_EQ(client.Count(), 0u);
}

}  // namespace
}  // namespace norvane::tests
