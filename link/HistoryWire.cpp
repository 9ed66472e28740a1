#include "link/HistoryWire.h"

#include "link/Wire.h"

namespace norvane::link {

namespace ce = console::engine;

namespace {

void WritePoint(const ce::HistoryPoint& from, wire::History::Point::Builder to) {
  to.setStart(ToMilliseconds(from.start));
  to.setChecks(from.checks);
  to.setFailures(from.failures);
  to.setLeast(from.answers.least);
  to.setMean(from.answers.mean);
  to.setGreatest(from.answers.greatest);
  to.setP50(from.answers.p50);
  to.setP95(from.answers.p95);
  to.setP99(from.answers.p99);
  const auto count = [](ce::StateTimes::Duration time) { return static_cast<std::uint64_t>(time.count()); };
  to.setUpMs(count(from.states.up));
  to.setDownMs(count(from.states.down));
  to.setStoppedMs(count(from.states.stopped));
  to.setSilencedMs(count(from.states.silenced));
  to.setUnwatchedMs(count(from.states.unwatched));
}

ce::HistoryPoint ReadPoint(wire::History::Point::Reader from) {
  const auto time = [](std::uint64_t milliseconds) {
    return ce::StateTimes::Duration(static_cast<std::int64_t>(milliseconds));
  };
  return {ToTime(from.getStart()),
          from.getChecks(),
          from.getFailures(),
          {from.getLeast(), from.getMean(), from.getGreatest(), from.getP50(), from.getP95(), from.getP99()},
          {time(from.getUpMs()), time(from.getDownMs()), time(from.getStoppedMs()),
           time(from.getSilencedMs()), time(from.getUnwatchedMs())}};
}

}  // namespace

void WriteHistory(const ce::MonitorHistory& from, wire::History::Builder to) {
  to.setSince(ToMilliseconds(from.since));
  to.setUntil(ToMilliseconds(from.until));
  to.setStepSeconds(static_cast<std::uint32_t>(from.step.count()));
  auto points = to.initPoints(static_cast<unsigned>(from.points.size()));
  for (unsigned i = 0; i < points.size(); ++i)
    WritePoint(from.points[i], points[i]);
  WritePoint({{}, from.checks, from.failures, from.answers, from.states}, to.initAll());
  auto outages = to.initOutages(static_cast<unsigned>(from.outages.size()));
  for (unsigned i = 0; i < outages.size(); ++i) {
    const auto& outage = from.outages[i];
    outages[i].setSince(ToMilliseconds(outage.since));
    if (outage.until) outages[i].setUntil(ToMilliseconds(*outage.until));
    outages[i].setReason(ToText(outage.reason));
    outages[i].setIsOutage(outage.isOutage);
  }
  to.setOutagesOmitted(from.outagesOmitted);
}

ce::MonitorHistory ReadHistory(wire::History::Reader from) {
  ce::MonitorHistory history;
  history.since = ToTime(from.getSince());
  history.until = ToTime(from.getUntil());
  history.step = std::chrono::seconds(from.getStepSeconds());
  for (const auto point : from.getPoints())
    history.points.push_back(ReadPoint(point));
  const auto all = ReadPoint(from.getAll());
  history.checks = all.checks;
  history.failures = all.failures;
  history.answers = all.answers;
  history.states = all.states;
  for (const auto outage : from.getOutages()) {
    auto& its = history.outages.emplace_back();
    its.since = ToTime(outage.getSince());
    if (outage.getUntil() != 0) its.until = ToTime(outage.getUntil());
    its.reason = ToString(outage.getReason());
    its.isOutage = outage.getIsOutage();
  }
  history.outagesOmitted = from.getOutagesOmitted();
  return history;
}

}  // namespace norvane::link
