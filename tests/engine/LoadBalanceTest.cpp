#include "engine/LoadBalance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace norvane::engine {
namespace {

/// Two loops, and the loads that a balance should have given them.
class Loops {
 public:
  explicit Loops(double enough = 0) : m_balance(2, enough) {}
  void Add(MonitorId id, double load) { Put(id, m_balance.Add(id, load), load); }
  void Remove(MonitorId id) {
    m_balance.Remove(id);
    m_placed[id] = {0, 0};
    Even();
  }
  void SetLoad(MonitorId id, double load) {
    m_balance.SetLoad(id, load);
    m_placed[id].second = load;
    Even();
  }
  [[nodiscard]] std::pair<double, double> Loads() const {
    std::vector<double> loads(2);
    for (const auto& [loop, load] : m_placed)
      loads[loop] += load;
    return std::minmax(loads[0], loads[1]);
  }
  int moves = 0;

 private:
  void Put(MonitorId id, std::size_t loop, double load) {
    m_placed.resize(std::max<std::size_t>(m_placed.size(), id + 1));
    m_placed[id] = {loop, load};
  }
  void Even() {
    for (; const auto move = m_balance.Even(); ++moves)
      Put(move->id, move->to, m_placed[move->id].second);
  }

  LoadBalance m_balance;
  std::vector<std::pair<std::size_t, double>> m_placed;
};

TEST(LoadBalance, KeepsLoadsEvenWhileMonitorsComeAndGo) {
  Loops loops;
  const auto expectEven = [&](double sum) {
    const auto [least, most] = loops.Loads();
    EXPECT_EQ(least + most, sum);
    EXPECT_LE(most - least, most / 10);
  };
  for (MonitorId id = 1; id <= 100; ++id)
    loops.Add(id, id % 2 == 0 ? 1 : 0.5);
  expectEven(75);
  for (MonitorId id = 2; id <= 100; id += 4)
    loops.Remove(id);
  expectEven(50);
  EXPECT_LE(loops.moves, 25) << "no more than went";
  loops.SetLoad(1, 30);
  expectEven(79.5);
}

TEST(LoadBalance, LeavesAMonitorWhereMovingItWouldGainNothing) {
  Loops loops;
  loops.Add(1, 3);
  loops.Add(2, 1);
  loops.Add(3, 1);
  loops.Remove(3);
  EXPECT_EQ(loops.Loads(), std::pair(1.0, 3.0));
  EXPECT_EQ(loops.moves, 0);
}

TEST(LoadBalance, UsesAnotherLoopWhenOneHasEnough) {
  Loops loops(10);
  for (MonitorId id = 1; id <= 15; ++id)
    loops.Add(id, 1);
  EXPECT_EQ(loops.Loads(), std::pair(5.0, 10.0));
  loops.Remove(15);
  EXPECT_EQ(loops.Loads(), std::pair(4.0, 10.0));
  loops.SetLoad(1, 4);
  EXPECT_LE(loops.Loads().second, 10);
}

TEST(LoadBalance, ComesToAnEndWhileEqualMonitorsGo) {
  constexpr MonitorId Count = 60;
  for (const double interval : {3.0, 6.0, 300.0}) {
    Loops loops;
    for (MonitorId id = 1; id <= Count; ++id)
      loops.Add(id, 1 / interval);
    for (MonitorId id = 1; id <= Count; ++id)
      loops.Remove(id);
    EXPECT_LE(loops.moves, static_cast<int>(Count));
  }
}

}  // namespace
}  // namespace norvane::engine
