#include "link/Mirror.h"

#include <capnp/message.h>
#include <gtest/gtest.h>

#include <random>

#include "console/engine/EngineError.h"
#include "engine/checks/ProbeTable.h"
#include "engine/model/MonitorTable.h"
#include "link/ChangeFeed.h"
#include "link/Wire.h"

namespace norvane::link {
namespace {

namespace ce = console::engine;
namespace keys = ce::keys;
using engine::MonitorTable;

std::string NameOf(int number) {
  return "WebMonitor Of " + std::to_string(number);
}

/// A table's changes on their way into a mirror, without a wire.
class Path {
 public:
  Path() {
    std::vector<std::string> wireKeys(ce::KnownKeys.begin(), ce::KnownKeys.end());
    mirror.Begin(std::move(wireKeys), {});
  }
  /// One batch; what was in it.
  ChangeFeed::Batch Step(const MonitorTable& table) {
    auto batch = feed.Next(table);
    capnp::MallocMessageBuilder message;
    batch.Write(message.initRoot<wire::Batch>());
    mirror.Apply(message.getRoot<wire::Batch>().asReader());
    return batch;
  }
  void Run(const MonitorTable& table) {
    while (feed.Pending(table))
      Step(table);
  }

  ChangeFeed feed;
  Mirror mirror;
};

void ExpectSame(const MonitorTable& table, const Mirror& mirror) {
  const auto all = mirror.All();
  ASSERT_EQ(all.size(), table.Count());
  EXPECT_EQ(mirror.Change(), table.LastChange());
  std::size_t position = 0;
  for (const auto& [id, monitor] : table.All()) {
    const auto& record = *all[position++];
    ASSERT_EQ(record.id, id);
    EXPECT_EQ(record.name, monitor.name);
    EXPECT_EQ(mirror.Find(monitor.name), id);
    EXPECT_EQ(mirror.IdAt(static_cast<int>(position)), id);
    for (const auto key : ce::KnownKeys)
      EXPECT_EQ(record.Get(key), monitor.attributes->Get(key)) << key;
    EXPECT_EQ(record.Get("other"), monitor.attributes->Get("other"));
  }
}

TEST(Mirror, EqualsTheTableAfterAnyRunOfChanges) {
  std::mt19937 random(20);  // NOLINT: the same run every time
  const auto below = [&](std::size_t end) {
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
  };
  MonitorTable table(1, engine::ProbeTable());
  Path path;
  std::size_t batches = 0;
  for (int round = 0; round < 60; ++round) {
    for (std::size_t i = below(90); i > 0; --i) {
      const auto name = NameOf(static_cast<int>(below(200)));
      const auto* monitor = table.Find(name);
      if (monitor == nullptr)
        table.Add(name, engine::NewMonitorAttributes());
      else if (below(3) == 0)
        table.Remove(monitor->id);
      else
        table.Set(monitor->id, below(4) == 0 ? "other" : ce::KnownKeys[below(ce::KnownKeys.size())],
                  std::string(below(3) == 0 ? 400000 : below(30), 'v'));
    }
    if (below(10) == 0) {  // as a load does
      MonitorTable loaded(table.Generation() + 1, engine::ProbeTable());
      for (const auto& [id, monitor] : table.All())
        if (below(2) == 0) loaded.Add(monitor.name, *monitor.attributes);
      table = std::move(loaded);
    }
    // Sometimes the console is slow, and changes come in the middle of a run of batches.
    if (below(2) == 0) {
      if (path.feed.Pending(table)) path.Step(table);
      continue;
    }
    for (; path.feed.Pending(table); ++batches) {
      const auto batch = path.Step(table);
      EXPECT_LE(batch.bytes, ChangeFeed::MaxBytes + 18 * 400000) << "one monitor more at most";
    }
    ExpectSame(table, path.mirror);
  }
  EXPECT_GT(batches, 60u) << "some runs must take several batches";
}

TEST(Mirror, ReadersSeeTheOldTableUntilTheNewOneIsComplete) {
  MonitorTable table(1, engine::ProbeTable());
  for (int i = 0; i < 10; ++i)
    table.Add(NameOf(i), {});
  Path path;
  path.Run(table);
  MonitorTable loaded(2, engine::ProbeTable());
  for (int i = 100; i < 100 + 1500; ++i)
    loaded.Add(NameOf(i), {});
  EXPECT_FALSE(path.Step(loaded).upToDate);
  EXPECT_EQ(path.mirror.Count(), 10u);
  EXPECT_LT(path.mirror.Change(), loaded.LastChange()) << "a call that waits for it is not over";
  EXPECT_TRUE(path.Step(loaded).upToDate);
  ExpectSame(loaded, path.mirror);
}

TEST(Mirror, KnowsWhichMonitorsHaveAPage) {
  MonitorTable table(1, engine::ProbeTable());
  for (const auto* name : {"WebMonitor Of a", "Pop3Monitor Of b", "SmtpMonitor Of c"})
    table.Add(name, {});
  Path path;
  path.mirror.Begin({ce::KnownKeys.begin(), ce::KnownKeys.end()}, {{"WebMonitor"}, {"Pop3Monitor", false}});
  path.Run(table);
  std::string pages;
  for (const auto& record : path.mirror.All())
    pages += record->hasPage ? "page;" : "none;";
  EXPECT_EQ(pages, "page;none;none;") << "the last is of a type that the engine has not named";
}

TEST(Mirror, KeepsKeysThatOnlyTheEngineKnowsAndMovesThoseThatItKnowsElsewhere) {
  Mirror mirror;
  mirror.Begin({"a key of a later engine", std::string(keys::Status)}, {});
  capnp::MallocMessageBuilder message;
  auto batch = message.initRoot<wire::Batch>();
  batch.setReset(true);
  batch.setUpToDate(true);
  batch.setChange(1);
  auto monitor = batch.initMonitors(1)[0];
  monitor.setId(5);
  monitor.setName("WebMonitor Of a");
  auto values = monitor.initValues(2);
  values.set(0, ToData("new"));
  values.set(1, ToData("Enable"));
  auto other = monitor.initOthers(1)[0];
  other.setKey(ToText(std::string(keys::Result)));  // to this engine it is an unknown one
  other.setValue(ToData("Ok"));
  mirror.Apply(batch.asReader());
  const auto record = mirror.All().at(0);
  EXPECT_EQ(record->Get("a key of a later engine"), "new");
  EXPECT_EQ(record->Get(keys::Status), "Enable");
  EXPECT_EQ(record->Get(keys::Result), "Ok");
  EXPECT_EQ(record->Get(keys::Parameter), "");

  batch.setReset(false);
  batch.getMonitors()[0].initValues(3);
  EXPECT_THROW(mirror.Apply(batch.asReader()), ce::EngineError) << "more values than keys";
}

}  // namespace
}  // namespace norvane::link
