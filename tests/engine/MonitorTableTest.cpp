#include "engine/MonitorTable.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "console/engine/EngineError.h"

namespace norvane::engine {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
namespace keys = console::engine::keys;

std::optional<EngineErrorCode> CodeOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const EngineError& error) {
    return error.Code();
  }
  return std::nullopt;
}

std::vector<std::string> Names(const MonitorTable& table) {
  std::vector<std::string> names;
  for (const auto& [id, monitor] : table.All())
    names.push_back(monitor.name);
  return names;
}

TEST(MonitorTable, TakesOnlyNamesOfAKnownType) {
  struct Row {
    const char* name;
    std::optional<EngineErrorCode> outcome;
  };
  const Row rows[] = {
      {"WebMonitor Of shop", {}},
      {"WebMonitor Of a Of b", {}},
      {"Pop3Monitor Of  ", {}},
      {"SmtpMonitor Of \xc3\xa4\xe6\x9c\xac", {}},
      {"WebMonitor Of shop", EngineErrorCode::Exists},
      {"WebMonitor Of ", EngineErrorCode::Invalid},
      {"WebMonitor", EngineErrorCode::Invalid},
      {"shop", EngineErrorCode::Invalid},
      {"", EngineErrorCode::Invalid},
      {"ServerMonitor Of x", EngineErrorCode::Invalid},
      {"webmonitor Of x", EngineErrorCode::Invalid},
      {"WebMonitor Of a\nb", EngineErrorCode::Invalid},
  };
  MonitorTable table(1);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(CodeOf([&] { table.Add(row.name, {}); }), row.outcome);
  }
  EXPECT_EQ(table.Count(), 4u);
  EXPECT_EQ(CodeOf([&] { table.Add("WebMonitor Of " + std::string(1100, 'x'), {}); }),
            EngineErrorCode::Invalid);
}

TEST(MonitorTable, RefusesTheOneThatTheConsoleCouldNotCount) {
  MonitorTable table(1);
  for (std::size_t i = 0; i < MonitorTable::MaxMonitors; ++i)
    table.Add("WebMonitor Of " + std::to_string(i), {});
  EXPECT_EQ(CodeOf([&] { table.Add("WebMonitor Of one more", {}); }), EngineErrorCode::Full);
  table.Remove(table.All().begin()->first);
  EXPECT_EQ(CodeOf([&] { table.Add("WebMonitor Of one more", {}); }), std::nullopt);
}

TEST(MonitorTable, KeepsTheOrderOfAdding) {
  MonitorTable table(7);
  const auto first = table.Add("WebMonitor Of b", {}).id;
  table.Add("WebMonitor Of a", {});
  table.Remove(first);
  table.Add("WebMonitor Of b", {});
  EXPECT_EQ(Names(table), (std::vector<std::string>{"WebMonitor Of a", "WebMonitor Of b"}));
  EXPECT_EQ(table.Find(first), nullptr);
  EXPECT_EQ(table.Find("WebMonitor Of b")->id >> 32, 7u);
}

TEST(MonitorTable, TellsWhatChangedSinceAnyMoment) {
  MonitorTable table(1);
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
  MonitorTable table(1);
  const auto id = table.Add("WebMonitor Of a", NewMonitorAttributes()).id;
  const auto snapshot = table.Find(id)->attributes;
  table.Set(id, keys::Status, "Enable");
  EXPECT_EQ(snapshot->Get(keys::Status), "Disable");
  EXPECT_TRUE(table.Find(id)->Running());
}

TEST(Attributes, UnknownKeysAreKeptAndLimited) {
  Attributes attributes;
  EXPECT_EQ(attributes.Get("never set"), "");
  attributes.Set("new in a later version", " %s \xc3\xa4 ");
  EXPECT_EQ(attributes.Get("new in a later version"), " %s \xc3\xa4 ");
  attributes.Set(keys::Parameter, std::string(Attributes::MaxValueSize, 'x'));
  EXPECT_EQ(CodeOf([&] { attributes.Set(keys::Parameter, std::string(Attributes::MaxValueSize + 1, 'x')); }),
            EngineErrorCode::Invalid);
  EXPECT_EQ(CodeOf([&] { attributes.Set(std::string(300, 'k'), "v"); }), EngineErrorCode::Invalid);
  for (std::size_t i = 1; i < Attributes::MaxOthers; ++i)
    attributes.Set("other " + std::to_string(i), "v");
  EXPECT_EQ(CodeOf([&] { attributes.Set("one more", "v"); }), EngineErrorCode::Invalid);
  attributes.Set("other 1", "still writable");
}

}  // namespace
}  // namespace norvane::engine
