#include "engine/model/MonitorTable.h"

#include <gtest/gtest.h>

#include "console/engine/Limits.h"
#include "engine/checks/ProbeTable.h"
#include "tests/support/Errors.h"

namespace norvane::engine {
namespace {

using console::engine::EngineErrorCode;
using tests::CodeOf;
namespace keys = console::engine::keys;

TEST(MonitorTable, RefusesTheOneThatTheConsoleCouldNotCount) {
  MonitorTable table(1, ProbeTable());
  for (std::size_t i = 0; i < console::engine::MaxMonitors; ++i)
    table.Add("WebMonitor Of " + std::to_string(i), {});
  EXPECT_EQ(CodeOf([&] { table.Add("WebMonitor Of one more", {}); }), EngineErrorCode::Full);
  table.Remove(table.All().begin()->first);
  EXPECT_EQ(CodeOf([&] { table.Add("WebMonitor Of one more", {}); }), std::nullopt);
}

TEST(MonitorTable, TellsWhatChangedSinceAnyMoment) {
  MonitorTable table(1, ProbeTable());
  const auto a = table.Add("WebMonitor Of a", {}).id;
  const auto b = table.Add("WebMonitor Of b", {}).id;
  const auto before = table.LastChange();
  EXPECT_EQ(table.NextChanged(before), nullptr);

  table.Set(a, keys::Interval, "5");
  table.Set(b, keys::Interval, "6");
  table.Set(a, keys::Timeout, "7");  // b is now the older change, and a is listed once
  const Monitor* next = table.NextChanged(before);
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(next->id, b);
  next = table.NextChanged(next->change);
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(next->id, a);
  EXPECT_EQ(table.NextChanged(next->change), nullptr);

  const auto unchanged = table.LastChange();
  table.Set(a, keys::Timeout, "7");
  EXPECT_EQ(table.LastChange(), unchanged);

  table.Remove(b);
  EXPECT_EQ(table.RemovedSince(unchanged), std::vector<MonitorId>{b});
  EXPECT_TRUE(table.RemovedSince(table.LastChange()).empty());
}

TEST(MonitorTable, ASharedSnapshotDoesNotSeeLaterWrites) {
  MonitorTable table(1, ProbeTable());
  const auto id = table.Add("WebMonitor Of a", NewMonitorAttributes()).id;
  const auto snapshot = table.Find(id)->attributes;
  table.Set(id, keys::Status, "Enable");
  EXPECT_EQ(snapshot->Get(keys::Status), "Disable");
  EXPECT_TRUE(table.Find(id)->Running());
}

TEST(Attributes, ValuesAreLimited) {
  Attributes attributes;
  const std::string tooLong(console::engine::MaxValueSize + 1, 'x');
  EXPECT_EQ(CodeOf([&] { attributes.Set(keys::Parameter, tooLong); }), EngineErrorCode::Invalid);
  EXPECT_EQ(CodeOf([&] { attributes.SetAt(0, tooLong); }), EngineErrorCode::Invalid);
  attributes.SetAt(0, tooLong.substr(1));
}

TEST(Attributes, UnknownKeysAreLimited) {
  Attributes attributes;
  for (std::size_t i = 0; i < Attributes::MaxOthers; ++i)
    attributes.Set("other " + std::to_string(i), "v");
  EXPECT_EQ(CodeOf([&] { attributes.Set("one more", "v"); }), EngineErrorCode::Invalid);
  attributes.Set("other 1", "still writable");
}

}  // namespace
}  // namespace norvane::engine
