#include "engine/SelfCheck.h"

#include <gtest/gtest.h>

#include <functional>

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// An engine that checks something every second, but for what a test changes.
class SelfCheckTest : public testing::Test {
 protected:
  using Change = std::function<void(SelfCheck::Observation&)>;

  void Pass(int count, const Change& change = {}) {
    for (int i = 0; i < count; ++i) {
      m_now += seconds(1);
      ++m_observed.figures.good;
      ++m_observed.deliveries;
      m_observed.figures.lastTurn = m_now - milliseconds(500);
      m_observed.writerBusy = {};
      if (change) change(m_observed);
      m_selfCheck.Observe(m_observed);
    }
  }
  [[nodiscard]] std::string Conditions() const {
    std::string texts;
    for (const auto& [key, condition] : m_health.Now())
      texts += condition.text + ";";
    return texts;
  }
  [[nodiscard]] std::string Stall() const { return std::string(m_selfCheck.FindStall(m_observed).what); }

  Health::Moment m_now = Health::Moment() + std::chrono::hours(1);
  SelfCheck::Observation m_observed;
  Health m_health{[this] { return m_now; }, [](auto, const auto&, auto) {}};
  SelfCheck m_selfCheck{m_health, [this] { return m_now; }};
};

TEST_F(SelfCheckTest, WhateverStandsStillIsAStall) {
  const auto lastTurn = m_now;
  const struct {
    const char* what;
    Change change;
    int notYet;
  } rows[] = {
      {"the checks do not go on", [&](auto& observed) { observed.figures.lastTurn = lastTurn; }, 4},
      {"results do not arrive", [](auto& observed) { --observed.deliveries; }, 10},
      {"the disk does not answer", [](auto& observed) { observed.writerBusy = seconds(30); }, 0},
  };
  for (const auto& [what, change, notYet] : rows) {
    SCOPED_TRACE(what);
    Pass(1);
    m_now = lastTurn;
    m_observed.figures.lastTurn = m_now;
    Pass(notYet, change);
    EXPECT_EQ(Stall(), "");
    Pass(1, change);
    EXPECT_EQ(Stall(), what);
    EXPECT_TRUE(m_selfCheck.IsAlive()) << "it may be the first look after the process was stopped";
    Pass(2, change);
    EXPECT_FALSE(m_selfCheck.IsAlive());
    EXPECT_EQ(Conditions(), "the engine has stalled: " + std::string(what) + ";");
    Pass(1);
    EXPECT_TRUE(m_selfCheck.IsAlive());
    EXPECT_EQ(Conditions(), "");
  }
}

TEST_F(SelfCheckTest, WithoutChecksNothingIsMissing) {
  Pass(1);
  Pass(60, [](auto& observed) {
    --observed.figures.good;
    --observed.deliveries;
  });
  EXPECT_EQ(Stall(), "");
}

TEST_F(SelfCheckTest, WhatFailsForAMinuteIsACondition) {
  const struct {
    const char* text;
    std::uint64_t CheckFigures::*counter;
  } rows[] = {{"checks cannot be made in time;", &CheckFigures::notMade},
              {"results of checks are thrown away, the engine is held up;", &CheckFigures::thrownAway}};
  for (const auto& [text, counter] : rows) {
    SCOPED_TRACE(text);
    const auto grow = [counter = counter](auto& observed) { ++(observed.figures.*counter); };
    Pass(200);
    Pass(60, grow);
    EXPECT_EQ(Conditions(), "") << "a burst";
    Pass(1, grow);
    EXPECT_EQ(Conditions(), text);
    Pass(120);
    EXPECT_EQ(Conditions(), text);
    Pass(1);
    EXPECT_EQ(Conditions(), "");
    Pass(1, grow);
    EXPECT_EQ(Conditions(), "");
  }
}

TEST_F(SelfCheckTest, TheFirstProblemAfterTheMachinesStartIsNoLastingOne) {
  m_now = Health::Moment() + seconds(90);  // as the clock has it soon after the machine has started
  Pass(10, [](auto& observed) {
    ++observed.figures.notMade;
    ++observed.figures.thrownAway;
    ++observed.figures.lookupsUnanswered;
  });
  EXPECT_EQ(Conditions(), "");
}

TEST_F(SelfCheckTest, NameServersAreSilentUntilOneAnswers) {
  const auto ask = [](auto& observed) { ++observed.figures.lookupsUnanswered; };
  Pass(1);
  Pass(30, ask);
  Pass(1, [](auto& observed) { ++observed.figures.lookupsAnswered; });
  Pass(60, ask);
  EXPECT_EQ(Conditions(), "");
  Pass(1, ask);
  EXPECT_EQ(Conditions(), "the name servers do not answer;");
  Pass(300);
  EXPECT_EQ(Conditions(), "the name servers do not answer;");
  Pass(1, [](auto& observed) { ++observed.figures.lookupsAnswered; });
  EXPECT_EQ(Conditions(), "");
}

}  // namespace
}  // namespace norvane::engine
