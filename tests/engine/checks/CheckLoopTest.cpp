#include "engine/checks/CheckLoop.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <vector>

#include "console/engine/MonitorKeys.h"
#include "tests/engine/FailingAllocations.h"
#include "tests/engine/ProbeFixture.h"

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;
namespace keys = console::engine::keys;

/// The probe that was begun last, for the test to end it.
struct Running {
  ProbeClient* client = nullptr;
  int begun = 0;
  bool isQueued = false;
  std::function<void()> begin = [] {};
};
Running running;

class FakeProbe final : public Probe {
 public:
  explicit FakeProbe(ProbeClient& client) : m_client(client) {}
  void Begin() override {
    running.client = &m_client;
    ++running.begun;
    running.isQueued = false;
    running.begin();
  }
  [[nodiscard]] std::string_view Step() const override { return "waiting"; }
  [[nodiscard]] bool IsQueued() const override { return running.isQueued; }

 private:
  ProbeClient& m_client;
};

class FakeType final : public ProbeType {
 public:
  std::unique_ptr<Probe> Make(const CheckTarget&, milliseconds, ProbeClient& client) override {
    return std::make_unique<FakeProbe>(client);
  }
};

/// Checks with a time-out of a second, in a time that the test lets pass.
class TimedChecks {
 public:
  explicit TimedChecks(const char* interval = "2") : m_target(Target(interval)) { running = {}; }
  void CheckOnce(int count = 1) {
    for (int ticket = 1; ticket <= count; ++ticket)
      m_checks.CheckOnce(m_target, static_cast<std::uint64_t>(ticket));
  }
  void Start() { m_checks.Start(m_target, {1, m_now}); }
  /// In steps that no loop is late by.
  void Pass(int time) {
    for (; time > 0; time -= 5)
      Stall(5);
  }
  /// The thread does nothing for so long.
  void Stall(int time) {
    m_now += milliseconds(time);
    for (int turns = 0; turns < 3; ++turns) {
      m_loop.RunOnce(milliseconds(0));
      m_checks.Turn();
    }
  }
  /// What an event costs.
  void Spend(int time) { m_now += milliseconds(time); }
  std::vector<CheckEnded> reports;
  [[nodiscard]] CheckFigures Figures() const { return m_checks.Figures(); }

 private:
  static std::unique_ptr<ProbeType> MakeType(ProbeContext&) { return std::make_unique<FakeType>(); }
  static constexpr MonitorType Types[] = {{"FakeMonitor", false, &MakeType}};
  static CheckTarget Target(const char* interval) {
    auto attributes = NewMonitorAttributes();
    attributes.Set(keys::Timeout, "1");
    attributes.Set(keys::Interval, interval);
    return {1, "FakeMonitor Of x", std::make_shared<const Attributes>(attributes)};
  }

  Moment m_now{std::chrono::hours(1)};
  EventLoop m_loop{[this] { return m_now; }, &LogToStandardError, [] { return std::chrono::nanoseconds(0); }};
  tests::ProbeFixture m_probes{m_loop};
  const CheckTarget m_target;
  CheckLoop m_checks{
      m_probes.context, Types, 10, {[this](CheckEnded report) { reports.push_back(std::move(report)); }}};
};

struct Step {
  enum What { Pass, Stall, Queue, Dequeue, Arrive, Fail, Succeed } what;
  int time = 0;
};

TEST(CheckLoop, DoesNotTakeItsOwnDelayForAFailure) {
  using S = Step;
  const struct {
    const char* name;
    std::vector<Step> steps;
    Outcome outcome;
    std::string reason;
    int begun = 1;
  } rows[] = {
      {"out of time", {{S::Pass, 1000}}, Outcome::Failed, "no answer within 1 s (waiting)"},
      {"a little late", {{S::Pass, 980}, {S::Stall, 25}}, Outcome::Failed, "no answer within 1 s (waiting)"},
      {"what a stall took is added", {{S::Stall, 405}, {S::Pass, 900}, {S::Succeed}}, Outcome::Good, "Ok"},
      {"and nothing more",
       {{S::Stall, 405}, {S::Pass, 1000}},
       Outcome::Failed,
       "no answer within 1 s (waiting)"},
      {"a failure by itself stands", {{S::Stall, 405}, {S::Fail}}, Outcome::Failed, "broken"},
      {"not after a long stall",
       {{S::Stall, 605}, {S::Fail}, {S::Pass, 5}, {S::Succeed}},
       Outcome::Good,
       "Ok",
       2},
      {"what comes after it is believed",
       {{S::Stall, 605}, {S::Fail}, {S::Pass, 5}, {S::Fail}},
       Outcome::Failed,
       "broken",
       2},
      {"good stands", {{S::Stall, 5000}, {S::Succeed}}, Outcome::Good, "Ok"},
      {"a long stall gives as much time as a new check has",
       {{S::Stall, 60000}, {S::Pass, 900}, {S::Pass, 105}, {S::Succeed}},
       Outcome::Good,
       "Ok",
       2},
      {"short stalls are given back, and the failure is believed",
       {{S::Stall, 405}, {S::Stall, 405}, {S::Pass, 190}, {S::Stall, 405}, {S::Stall, 405}, {S::Pass, 810}},
       Outcome::Failed,
       "no answer within 1 s (waiting)"},
      {"what fails again and again beside short stalls is believed",
       {{S::Stall, 405},
        {S::Stall, 405},
        {S::Fail},
        {S::Pass, 5},
        {S::Stall, 405},
        {S::Stall, 405},
        {S::Fail},
        {S::Pass, 5},
        {S::Stall, 405},
        {S::Stall, 405},
        {S::Fail},
        {S::Pass, 5},
        {S::Stall, 405},
        {S::Stall, 405},
        {S::Fail}},
       Outcome::Failed,
       "broken",
       4},
      {"what is held up for ever was not made", std::vector<Step>(9, {S::Stall, 405}), Outcome::NotMade,
       "the engine was held up for 3.6 s"},
      {"waiting for a turn of the engine's own is none of its time",
       {{S::Queue}, {S::Pass, 3000}, {S::Dequeue}, {S::Pass, 900}, {S::Succeed}},
       Outcome::Good,
       "Ok"},
      {"only while it waits",
       {{S::Queue}, {S::Pass, 900}, {S::Dequeue}, {S::Pass, 105}},
       Outcome::Failed,
       "no answer within 1 s (waiting)"},
      {"a page that nobody had time to look at",
       {{S::Arrive}, {S::Pass, 60005}, {S::Pass, 5}, {S::Succeed}},
       Outcome::Good,
       "Ok",
       2},
      {"not for ever",
       {{S::Stall, 605},
        {S::Fail},
        {S::Pass, 5},
        {S::Stall, 605},
        {S::Fail},
        {S::Pass, 5},
        {S::Stall, 605},
        {S::Fail},
        {S::Pass, 5},
        {S::Stall, 605},
        {S::Fail}},
       Outcome::NotMade,
       "the engine was held up for 2.4 s",
       4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    TimedChecks check;
    check.CheckOnce();
    check.Pass(5);
    for (const auto& step : row.steps) {
      EXPECT_TRUE(check.reports.empty());
      if (step.what == S::Pass) check.Pass(step.time);
      if (step.what == S::Stall) check.Stall(step.time);
      if (step.what == S::Queue) running.isQueued = true;
      if (step.what == S::Dequeue) running.isQueued = false;
      if (step.what == S::Arrive) running.client->Arrived();
      if (step.what == S::Fail) running.client->Ended("broken");
      if (step.what == S::Succeed) running.client->Ended("");
    }
    ASSERT_EQ(check.reports.size(), 1u);
    EXPECT_EQ(check.reports[0].result.outcome, row.outcome);
    EXPECT_EQ(check.reports[0].result.reason, row.reason);
    EXPECT_EQ(running.begun, row.begun);
    const auto figures = check.Figures();
    EXPECT_EQ(figures.good, row.outcome == Outcome::Good);
    EXPECT_EQ(figures.failed, row.outcome == Outcome::Failed);
    EXPECT_EQ(figures.notMade, row.outcome == Outcome::NotMade);
  }
}

TEST(CheckLoop, CountsTheStartsMissedWhileAPageIsJudged) {
  TimedChecks checks;
  checks.Start();
  checks.Pass(5);
  running.client->Arrived();
  checks.Pass(5000);
  running.client->Ended("");
  checks.Pass(5);
  EXPECT_EQ(running.begun, 2);
  EXPECT_EQ(checks.Figures().notMade, 1u) << "that of the third second; the check of the fifth is late";
  EXPECT_EQ(checks.reports.at(0).remark, "") << "it did not take longer than its interval";
}

TEST(CheckLoop, RepeatsSoonWhatItCouldNotMake) {
  TimedChecks checks("86400");
  checks.Start();
  checks.Pass(5);
  int begun = 1;
  for (const int pause : {10000, 20000, 30000, 30000}) {
    SCOPED_TRACE(begun);
    for (int stalls = 0; stalls < 9; ++stalls)
      checks.Stall(405);
    ASSERT_EQ(checks.reports.size(), static_cast<std::size_t>(begun));
    EXPECT_EQ(checks.reports.back().result.outcome, Outcome::NotMade);
    checks.Pass(pause - 5);
    EXPECT_EQ(running.begun, begun);
    checks.Pass(10);
    EXPECT_EQ(running.begun, ++begun);
  }
  running.client->Ended("broken");
  checks.Pass(35000);
  EXPECT_EQ(running.begun, begun) << "it has been made";
}

TEST(CheckLoop, BeginsNoMoreThanATurnMayHold) {
  TimedChecks checks;
  running.begin = [&] { checks.Spend(1); };
  checks.CheckOnce(4);
  checks.Stall(0);
  EXPECT_GT(running.begun, 2) << "turn after turn";
  checks.Stall(0);
  EXPECT_EQ(running.begun, 4);
  EXPECT_LE(checks.Figures().longestTurn, milliseconds(3));
}

TEST(CheckLoop, AStartForWhichThereIsNoMemoryCanBeMadeAgain) {
  bool isShort = true;
  for (int allocations = 0; isShort; ++allocations) {
    SCOPED_TRACE(allocations);
    TimedChecks checks;
    tests::FailAllocations(allocations);
    try {
      checks.Start();
      isShort = false;
    } catch (const std::bad_alloc&) {
    }
    tests::AllowAllocations();
    checks.Start();
    checks.Start();
    checks.Pass(5);
    EXPECT_EQ(running.begun, 1);
  }
}

}  // namespace
}  // namespace norvane::engine
