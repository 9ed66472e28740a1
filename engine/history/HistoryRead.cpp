// HistoryFile: answers queries.

#include <algorithm>
#include <array>
#include <limits>

#include "console/engine/EngineError.h"
#include "engine/history/HistoryFile.h"
#include "engine/history/HistoryTables.h"

namespace norvane::engine {

namespace ce = console::engine;
using namespace historytables;
using std::chrono::seconds;

namespace {

constexpr std::array<std::int64_t, 11> NiceSteps = {300,   900,   1800,  3600,   7200,      4 * 3600,
                                                    28800, 43200, 86400, 604800, 4 * 604800};
constexpr std::int64_t ChartPoints = 750;

std::int64_t RoundedUp(std::int64_t number, std::int64_t unit) {
  return (number + unit - 1) / unit * unit;
}

std::int64_t StepFor(std::int64_t asked, std::int64_t length, std::int64_t age, const HistoryAges& ages) {
  const auto least = age <= seconds(ages.minutes).count() ? SpanSeconds
                     : age <= seconds(ages.hours).count() ? HourSeconds
                                                          : DaySeconds;
  auto step = std::max<std::int64_t>(asked, 1);
  if (asked <= 0) {
    const auto fits = std::ranges::find_if(NiceSteps, [&](auto each) { return length / each < ChartPoints; });
    step = fits == NiceSteps.end() ? NiceSteps.back() : *fits;
  }
  step = std::max({step, least, length / static_cast<std::int64_t>(ce::MaxHistoryPoints - 1) + 1});
  return RoundedUp(step, step <= HourSeconds ? SpanSeconds : step <= DaySeconds ? HourSeconds : DaySeconds);
}

/// Adds up what the tables have for one monitor, by points.
class PointReader {
 public:
  PointReader(Database& database, std::int64_t id, const ce::MonitorHistory& asked)
      : m_id(id),
        m_since(ToSeconds(asked.since)),
        m_until(ToSeconds(asked.until)),
        m_step(asked.step.count()),
        m_find(database, "SELECT data FROM sums WHERE level=? AND start=? AND monitor=?"),
        m_fresh(database, "SELECT span,data FROM fresh WHERE part=? AND span>=? AND span<=?"),
        m_points(asked.points.size()) {}

  /// `oldestHour`: rows of level 0 from then on are worth a look.
  void Read(std::int64_t oldestHour) {
    for (auto day = m_since / DaySeconds; day <= m_until / DaySeconds; ++day)
      ReadDay(day, oldestHour);
    ReadFresh();
  }
  [[nodiscard]] const std::vector<AnswerSums>& Points() const { return m_points; }

 private:
  void ReadDay(std::int64_t day, std::int64_t oldestHour) {
    if (m_step % DaySeconds == 0 && ReadRow(WholeDay, day, day * DaySeconds, DaySeconds)) return;
    if (m_step % HourSeconds == 0 && ReadRow(DayInHours, day, day * DaySeconds, HourSeconds)) return;
    for (auto hour = std::max(day * HoursOfDay, oldestHour); hour < (day + 1) * HoursOfDay; ++hour)
      ReadRow(HourInMinutes, hour, hour * HourSeconds, SpanSeconds);
  }

  bool ReadRow(Level level, std::int64_t start, std::int64_t from, std::int64_t unit) {
    m_find.Bind(1, static_cast<std::int64_t>(level)).Bind(2, start).Bind(3, m_id);
    bool isThere = false;
    while (m_find.Step()) {
      isThere = true;
      for (SumsReader reader(m_find.BytesAt(0)); !reader.IsAtEnd();) {
        const auto at = from + static_cast<std::int64_t>(reader.Number()) * unit;
        Add(at, reader.Sums());
      }
    }
    return isThere;
  }

  void ReadFresh() {
    m_fresh.Bind(1, PartOf(m_id)).Bind(2, m_since / SpanSeconds).Bind(3, m_until / SpanSeconds);
    while (m_fresh.Step()) {
      auto id = PartOf(m_id) * PartSize;
      for (SumsReader reader(m_fresh.BytesAt(1)); !reader.IsAtEnd() && id < m_id;) {
        id += static_cast<std::int64_t>(reader.Number());
        const auto sums = reader.Sums();
        if (id == m_id) Add(m_fresh.NumberAt(0) * SpanSeconds, sums);
      }
    }
  }

  void Add(std::int64_t at, const AnswerSums& sums) {
    if (at < m_since || at >= m_until) return;
    m_points[static_cast<std::size_t>((at - m_since) / m_step)] += sums;
  }

  std::int64_t m_id, m_since, m_until, m_step;
  Statement m_find, m_fresh;
  std::vector<AnswerSums> m_points;
};

/// From the last change of state that says all of what was before `since`.
void ReadChanges(Database& database, std::int64_t id, const ce::MonitorHistory& asked,
                 StateTimeline& timeline) {
  const auto since = ToMilliseconds(asked.since);
  Statement begin(database,
                  "SELECT min(coalesce((SELECT max(at) FROM change WHERE monitor=?1 AND at<=?2 AND kind NOT "
                  "IN(2,3,5,6)),(SELECT min(at) FROM change WHERE monitor=?1),?2),ifnull((SELECT max(at) "
                  "FROM change WHERE monitor=?1 AND at<=?2 AND kind "
                  "IN(5,6)),?2))");
  begin.Bind(1, id).Bind(2, since).Step();
  const auto first = begin.NumberAt(0);
  Statement read(
      database,
      "SELECT kind,at,until,reason FROM change WHERE monitor IN(0,?1) AND at>=?2 AND at<=?3 ORDER BY "
      "at,row");
  read.Bind(1, id).Bind(2, first).Bind(3, ToMilliseconds(asked.until));
  while (read.Step())
    timeline.Add({static_cast<StateChange::Kind>(read.NumberAt(0)), FromMilliseconds(read.NumberAt(1)),
                  FromMilliseconds(read.NumberAt(2)), std::string(read.TextAt(3))});
  timeline.Finish();
}

std::int64_t FindMonitor(Database& database, const std::string& name) {
  Statement find(database, "SELECT id FROM monitor WHERE name=? ORDER BY removed=0 DESC,id DESC LIMIT 1");
  if (find.Bind(1, std::string_view(name)).Step()) return find.NumberAt(0);
  throw ce::EngineError(ce::EngineErrorCode::NotFound, "no history of " + name);
}

}  // namespace

ce::MonitorHistory HistoryFile::Read(const ce::HistoryQuery& query, Time now) {
  const auto id = FindMonitor(m_database, query.monitor);
  const auto until = std::clamp(query.until, now - m_ages.days + Span, now);
  const auto since = std::clamp(query.since, now - m_ages.days, until - Span);
  ce::MonitorHistory history;
  const auto step = StepFor(query.step.count(), ToSeconds(until) - ToSeconds(since),
                            ToSeconds(now) - ToSeconds(since), m_ages);
  history.step = seconds(step);
  history.since = FromSeconds(ToSeconds(since) / step * step);
  history.until = until;
  history.points.resize(
      static_cast<std::size_t>(RoundedUp(ToSeconds(until) + 1 - ToSeconds(history.since), step) / step));

  PointReader reader(m_database, id, history);
  reader.Read(ToSeconds(now - m_ages.minutes - std::chrono::days(1)) / HourSeconds);
  StateTimeline timeline(history.since, until, history.step);
  ReadChanges(m_database, id, history, timeline);

  AnswerSums all;
  for (std::size_t i = 0; i < history.points.size(); ++i) {
    const auto& sums = reader.Points()[i];
    auto& point = history.points[i];
    point = {FromSeconds(ToSeconds(history.since) + static_cast<std::int64_t>(i) * step),
             sums.Checks(),
             sums.Failures(),
             sums.Answers(),
             {}};
    if (i < timeline.Steps().size()) point.states = timeline.Steps()[i];
    history.states += point.states;
    all += sums;
  }
  if (!query.hasPoints) history.points.clear();
  history.checks = all.Checks();
  history.failures = all.Failures();
  history.answers = all.Answers();
  history.outages = timeline.Outages();
  if (history.outages.size() > ce::MaxHistoryOutages) {
    history.outagesOmitted = history.outages.size() - ce::MaxHistoryOutages;
    history.outages.erase(history.outages.begin(),
                          history.outages.end() - static_cast<std::ptrdiff_t>(ce::MaxHistoryOutages));
  }
  return history;
}

}  // namespace norvane::engine
