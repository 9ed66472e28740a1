// HistoryFile: joins the sums of finished hours and days, and removes what is too old.

#include <map>
#include <optional>

#include "engine/history/HistoryFile.h"
#include "engine/history/HistoryTables.h"

namespace norvane::engine {

using namespace historytables;

namespace {

/// In one step, each in a transaction of its own, so that whoever waits for the thread doesn't wait long.
constexpr int MaxJoinedAtOnce = 8;
constexpr int MaxRemovedAtOnce = 4;

/// One row of `fresh`, from which the sums of one monitor after the other are read.
class FreshRow {
 public:
  FreshRow(std::int64_t part, std::int64_t span, std::string_view bytes)
      : m_span(span), m_bytes(bytes), m_reader(m_bytes), m_id(part * PartSize) {
    ReadId();
  }
  FreshRow(const FreshRow&) = delete;
  FreshRow& operator=(const FreshRow&) = delete;

  [[nodiscard]] std::int64_t Span() const { return m_span; }
  [[nodiscard]] std::optional<AnswerSums> SumsOf(std::int64_t id) {
    if (m_isAtEnd || m_id != id) return std::nullopt;
    auto sums = m_reader.Sums();
    ReadId();
    return sums;
  }

 private:
  void ReadId() {
    m_isAtEnd = m_reader.IsAtEnd();
    if (!m_isAtEnd) m_id += static_cast<std::int64_t>(m_reader.Number());
  }

  std::int64_t m_span;
  std::string m_bytes;
  SumsReader m_reader;
  std::int64_t m_id;
  bool m_isAtEnd = false;
};

using Series = std::map<std::int64_t, AnswerSums>;  // by the position in the row's time

void ReadSeries(std::string_view bytes, Series& series) {
  for (SumsReader reader(bytes); !reader.IsAtEnd();) {
    const auto at = static_cast<std::int64_t>(reader.Number());
    series[at] += reader.Sums();
  }
}

std::string BytesOf(const Series& series) {
  std::string bytes;
  for (const auto& [at, sums] : series) {
    AppendNumber(bytes, static_cast<std::uint64_t>(at));
    sums.AppendTo(bytes);
  }
  return bytes;
}

void WriteSums(Database& database, Level level, std::int64_t start, std::int64_t id,
               const std::string& bytes) {
  Statement(database, "INSERT OR REPLACE INTO sums VALUES(?,?,?,?)")
      .Bind(1, static_cast<std::int64_t>(level))
      .Bind(2, start)
      .Bind(3, id)
      .BindBytes(4, bytes)
      .Step();
}

}  // namespace

bool HistoryFile::Join(Time now) {
  const auto hour = ToSeconds(now) / HourSeconds;
  if (hour == m_joinedUntil) return false;
  if (JoinHours(hour) || JoinDays(hour / HoursOfDay) || RemoveOld(now)) return true;
  m_joinedUntil = hour;
  return false;
}

bool HistoryFile::JoinHours(std::int64_t hour) {
  std::vector<std::pair<std::int64_t, std::int64_t>> finished;
  {
    Statement find(m_database, "SELECT DISTINCT part,span/12 FROM fresh WHERE span<? LIMIT " +
                                   std::to_string(MaxJoinedAtOnce));
    find.Bind(1, hour * SpansOfHour);
    while (find.Step())
      finished.emplace_back(find.NumberAt(0), find.NumberAt(1));
  }
  for (const auto& [part, its] : finished)
    JoinHour(part, its);
  return !finished.empty();
}

/// The clock may have been set back: what was joined before is joined with it.
void HistoryFile::JoinHour(std::int64_t part, std::int64_t hour) {
  Transaction transaction(m_database);
  const auto first = hour * SpansOfHour;
  std::vector<std::unique_ptr<FreshRow>> rows;
  {
    Statement read(m_database, "SELECT span,data FROM fresh WHERE part=? AND span>=? AND span<?");
    read.Bind(1, part).Bind(2, first).Bind(3, first + SpansOfHour);
    while (read.Step())
      rows.push_back(std::make_unique<FreshRow>(part, read.NumberAt(0), read.BytesAt(1)));
  }
  Statement before(m_database, "SELECT data FROM sums WHERE level=0 AND start=? AND monitor=?");
  for (auto id = part * PartSize; id < (part + 1) * PartSize; ++id) {
    Series series;
    for (auto& row : rows) {
      if (const auto sums = row->SumsOf(id)) series[row->Span() - first] += *sums;
    }
    if (series.empty()) continue;
    for (before.Bind(1, hour).Bind(2, id); before.Step();)
      ReadSeries(before.BytesAt(0), series);
    WriteSums(m_database, HourInMinutes, hour, id, BytesOf(series));
  }
  Statement(m_database, "DELETE FROM fresh WHERE part=? AND span>=? AND span<?")
      .Bind(1, part)
      .Bind(2, first)
      .Bind(3, first + SpansOfHour)
      .Step();
  Statement(m_database, "INSERT OR IGNORE INTO joined VALUES(?,?)")
      .Bind(1, part)
      .Bind(2, hour / HoursOfDay)
      .Step();
  transaction.Commit();
}

bool HistoryFile::JoinDays(std::int64_t day) {
  std::vector<std::pair<std::int64_t, std::int64_t>> finished;
  {
    Statement find(m_database,
                   "SELECT part,day FROM joined WHERE day<? LIMIT " + std::to_string(MaxJoinedAtOnce));
    find.Bind(1, day);
    while (find.Step())
      finished.emplace_back(find.NumberAt(0), find.NumberAt(1));
  }
  for (const auto& [part, its] : finished)
    JoinDay(part, its);
  return !finished.empty();
}

void HistoryFile::JoinDay(std::int64_t part, std::int64_t day) {
  struct Day {
    std::string hours;
    AnswerSums all;
  };
  Transaction transaction(m_database);
  std::map<std::int64_t, Day> days;
  Statement read(m_database,
                 "SELECT monitor,data FROM sums WHERE level=0 AND start=? AND monitor>=? AND monitor<?");
  for (std::int64_t hour = 0; hour < HoursOfDay; ++hour) {
    read.Bind(1, day * HoursOfDay + hour).Bind(2, part * PartSize).Bind(3, (part + 1) * PartSize);
    while (read.Step()) {
      Series series;
      ReadSeries(read.BytesAt(1), series);
      AnswerSums sums;
      for (const auto& [at, each] : series)
        sums += each;
      auto& its = days[read.NumberAt(0)];
      AppendNumber(its.hours, static_cast<std::uint64_t>(hour));
      sums.AppendTo(its.hours);
      its.all += sums;
    }
  }
  for (const auto& [id, its] : days) {
    WriteSums(m_database, DayInHours, day, id, its.hours);
    WriteSums(m_database, WholeDay, day, id, BytesOf({{0, its.all}}));
  }
  TrimChanges(part, ToMilliseconds(FromSeconds(day * DaySeconds) - m_ages.days));
  // Days without any result need no visit.
  Statement next(m_database, "SELECT min(start)/24 FROM sums WHERE level=0 AND start>=?");
  next.Bind(1, (day + 1) * HoursOfDay).Step();
  Statement(m_database, "UPDATE joined SET day=max(?,?) WHERE part=?")
      .Bind(1, day + 1)
      .Bind(2, next.NumberAt(0))
      .Bind(3, part)
      .Step();
  transaction.Commit();
}

/// The last change before what is kept stays: it says what the state was then.
void HistoryFile::TrimChanges(std::int64_t part, std::int64_t oldest) {
  Statement trim(m_database,
                 "DELETE FROM change WHERE monitor=?1 AND at<max("
                 "ifnull((SELECT max(at) FROM change WHERE monitor=?1 AND at<=?2),0),"
                 "ifnull((SELECT at FROM change WHERE monitor=?1 ORDER BY at DESC LIMIT 1 OFFSET " +
                     std::to_string(MaxChanges - 1) + "),0))");
  for (auto id = part * PartSize; id < (part + 1) * PartSize; ++id)
    trim.Bind(1, id).Bind(2, oldest).Step();
}

bool HistoryFile::RemoveOld(Time now) {
  const std::pair<Level, std::int64_t> kept[] = {
      {HourInMinutes, ToSeconds(now - m_ages.minutes) / HourSeconds},
      {DayInHours, ToSeconds(now - m_ages.hours) / DaySeconds},
      {WholeDay, ToSeconds(now - m_ages.days) / DaySeconds}};
  bool hasMore = false;
  for (const auto& [level, oldest] : kept) {
    Statement remove(m_database,
                     "DELETE FROM sums WHERE level=?1 AND start=(SELECT min(start) FROM sums WHERE level=?1) "
                     "AND start<?2");
    for (int i = 0; i < MaxRemovedAtOnce; ++i) {
      remove.Bind(1, static_cast<std::int64_t>(level)).Bind(2, oldest).Step();
      if (m_database.Changed() == 0) break;
      hasMore = hasMore || i + 1 == MaxRemovedAtOnce;
    }
  }
  Transaction transaction(m_database);
  const auto oldest = std::to_string(ToMilliseconds(now - m_ages.days));
  m_database.Run("DELETE FROM change WHERE monitor IN(SELECT id FROM monitor WHERE removed<>0 AND removed<" +
                 oldest + ");DELETE FROM monitor WHERE removed<>0 AND removed<" + oldest);
  transaction.Commit();
  return hasMore;
}

}  // namespace norvane::engine
