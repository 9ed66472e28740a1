// The commands for what became of monitors.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <optional>

#include "console/engine/EngineError.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "formats/Duration.h"
#include "formats/NotifyMode.h"
#include "platform/UrlText.h"

namespace norvane::ctl {

namespace ce = console::engine;
namespace keys = ce::keys;
using Time = ce::HistoryQuery::Time;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

/// Of a date at its beginning here, "2026-11-24", or a time before now, "7d".
Time SinceOf(const Call& call, seconds fallback) {
  const auto now = std::chrono::system_clock::now();
  if (!call.Has("--since")) return now - fallback;
  const auto text = call.arguments.ValueOf("--since");
  if (const auto time = formats::ParseDuration(text)) return now - *time;
  std::tm date{};
  date.tm_isdst = -1;
  const char* end = ::strptime(text.c_str(), "%Y-%m-%d", &date);
  if (end == nullptr || *end != '\0')
    throw UsageError("neither a time, such as 12h or 7d, nor a date, such as 2026-11-24: " + Escaped(text));
  return std::chrono::system_clock::from_time_t(std::mktime(&date));
}

seconds StepOf(const Call& call) {
  if (!call.Has("--step")) return seconds(0);
  const auto text = call.arguments.ValueOf("--step");
  const auto step = formats::ParseDuration(text);
  if (!step || *step == seconds(0)) throw UsageError("invalid time, such as 5m, 1h or 1d: " + Escaped(text));
  return *step;
}

ce::MonitorHistory InAll(const Call& call, const std::string& name, Time since) {
  return call.engine.History({name, since, Time::max(), seconds(0), false});
}

/// "99.98 %"; rounded down, so that 100 % means all of it. Empty if it was never watched.
std::string UptimeText(const ce::StateTimes& states) {
  const auto uptime = states.Uptime();
  if (!uptime) return {};
  char text[16];
  std::snprintf(text, sizeof text, "%.3f %%", std::floor(*uptime * 1e5) / 1e3);
  return text;
}

/// In its two largest units: "3d 4h", "12m 5s"; empty for none.
std::string LengthText(milliseconds time) {
  constexpr std::pair<std::int64_t, const char*> units[] = {{86400, "d"}, {3600, "h"}, {60, "m"}, {1, "s"}};
  auto rest = std::chrono::round<seconds>(time).count();
  std::string text;
  for (const auto& [size, unit] : units) {
    const bool isSecond = !text.empty();
    if (rest >= size) text += (isSecond ? " " : "") + std::to_string(rest / size) + unit;
    rest %= size;
    if (isSecond) break;
  }
  return text.empty() && time.count() > 0 ? "0s" : text;
}

Field TimeOf(std::string name, milliseconds time, bool isJson) {
  if (isJson) return {name + "Seconds", static_cast<long long>(std::chrono::round<seconds>(time).count())};
  return {std::move(name), LengthText(time)};
}

void AppendAnswers(Fields& fields, const ce::AnswerTimes& answers) {
  const std::pair<const char*, std::uint32_t> values[] = {{"MeanMs", answers.mean},
                                                          {"P50Ms", answers.p50},
                                                          {"P95Ms", answers.p95},
                                                          {"P99Ms", answers.p99},
                                                          {"GreatestMs", answers.greatest}};
  for (const auto& [name, value] : values)
    fields.emplace_back(name, static_cast<long long>(value));
}

void AppendStates(Fields& fields, const ce::StateTimes& states, bool isJson) {
  fields.emplace_back("Uptime", UptimeText(states));
  for (const auto& [name, time] :
       {std::pair("Up", states.up), std::pair("Down", states.down), std::pair("Silenced", states.silenced),
        std::pair("Stopped", states.stopped), std::pair("Unwatched", states.unwatched)})
    fields.push_back(TimeOf(name, time, isJson));
}

Fields RowOf(const ce::HistoryPoint& point, bool isJson) {
  Fields row = {{"Time", TimeText(point.start)},
                {"Checks", static_cast<long long>(point.checks)},
                {"Failures", static_cast<long long>(point.failures)}};
  AppendAnswers(row, point.answers);
  AppendStates(row, point.states, isJson);
  return row;
}

Fields RowOf(const ce::PastOutage& outage, Time now, bool isJson) {
  return {
      {"Since", TimeText(outage.since)},
      {"Until", outage.until ? TimeText(*outage.until)
                : isJson     ? ""
                             : "(lasts)"},
      TimeOf("Length", std::chrono::floor<milliseconds>(outage.until.value_or(now) - outage.since), isJson),
      {"Reason", outage.reason}};
}

std::vector<ce::PastOutage> OutagesIn(const ce::MonitorHistory& history) {
  std::vector<ce::PastOutage> outages;
  std::ranges::copy_if(history.outages, std::back_inserter(outages), &ce::PastOutage::isOutage);
  return outages;
}

void PrintCsv(const std::vector<Fields>& rows) {
  const auto quoted = [](const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quote = "\"";
    for (const char each : text)
      quote += each == '"' ? "\"\"" : std::string(1, each);
    return quote + "\"";
  };
  std::string text;
  const auto append = [&](const Fields& row, auto member) {
    for (const auto& field : row)
      text += (&field == &row.front() ? "" : ",") + quoted(field.*member);
    text += "\r\n";
  };
  if (!rows.empty()) append(rows.front(), &Field::name);
  for (const auto& row : rows)
    append(row, &Field::text);
  Print(text);
}

std::string StateText(const ce::MonitorRecord& monitor) {
  const auto result = monitor.Get(keys::Result);
  if (StyleOf(monitor) == Style::Faint) return "stopped";
  return result.empty() ? "not checked yet" : ce::IsFailure(result) ? "failing" : "good";
}

/// Who is told, without a password.
std::string TellsText(const ce::MonitorRecord& monitor) {
  using Form = formats::NotifyMode::Form;
  const auto mode = formats::NotifyMode::Parse(std::string(monitor.Get(keys::NotifyMode)));
  const std::string to(monitor.Get(keys::NotifyPager));
  if (mode.form == Form::Mail) return to + " by mail through " + platform::WithoutPassword(mode.server);
  return to;
}

/// The one that is named; a removed one by its full name.
std::string MonitorOrRemoved(const Call& call) {
  try {
    return Selected(call, call.operands).front().name;
  } catch (const ce::EngineError& error) {
    const auto& name = call.operands.front();
    if (error.Code() != ce::EngineErrorCode::NotFound || name.find(ce::NameSeparator) == std::string::npos)
      throw;
    return name;
  }
}

}  // namespace

ExitCode History(const Call& call) {
  const auto name = MonitorOrRemoved(call);
  const auto history =
      call.engine.History({name, SinceOf(call, std::chrono::days(1)), Time::max(), StepOf(call)});
  const bool isJson = call.IsJson();
  std::vector<Fields> points, outages;
  for (const auto& point : history.points) {
    const bool isEmpty = point.checks == 0 && (point.states.up + point.states.down).count() == 0;
    if (isJson || !isEmpty) points.push_back(RowOf(point, isJson || call.Has("--csv")));
  }
  if (call.Has("--csv")) {
    PrintCsv(points);
    return Done;
  }
  for (const auto& outage : OutagesIn(history))
    outages.push_back(RowOf(outage, history.until, isJson));
  if (isJson) {
    PrintLine(Json(Fields{{"Name", name},
                          {"Since", TimeText(history.since)},
                          {"Until", TimeText(history.until)},
                          {"StepSeconds", static_cast<long long>(history.step.count())},
                          {"Points", points},
                          {"Outages", outages}}));
    return Done;
  }
  PrintTable(points);
  if (points.empty()) PrintLine("nothing was checked in this time");
  if (outages.empty()) return Done;
  PrintLine("\nOutages");
  if (history.outagesOmitted > 0)
    PrintLine("the last of them; " + std::to_string(history.outagesOmitted) + " before");
  PrintTable(outages);
  return Done;
}

ExitCode Show(const Call& call) {
  const auto now = std::chrono::system_clock::now();
  const bool isJson = call.IsJson(), isList = NamesSeveral(call, call.operands);
  const auto silences = call.engine.Silences();
  std::vector<Fields> all;
  for (const auto& monitor : Read(call, Selected(call, call.operands))) {
    const auto silence = silences.find(monitor->name);
    Fields fields = {{"Name", monitor->name},
                     {"Target", platform::WithoutPassword(monitor->Get(keys::Parameter))},
                     {"State", StateText(*monitor)},
                     {"Since", TimeText(monitor->since)},
                     {"Reason", std::string(monitor->Get(keys::Result))},
                     {"LastCheck", TimeText(monitor->checkedAt)},
                     {"DurationMs", static_cast<long long>(monitor->checkDuration.count())},
                     {"Failures", static_cast<long long>(monitor->failuresInARow)},
                     {"Tells", TellsText(*monitor)},
                     {"SilencedUntil", silence == silences.end() ? "" : TimeText(silence->second.until)}};
    for (const auto& [name, time] : {std::pair("Uptime24h", seconds(std::chrono::days(1))),
                                     std::pair("Uptime7d", seconds(std::chrono::days(7)))})
      fields.emplace_back(name, UptimeText(InAll(call, monitor->name, now - time).states));
    const auto month = InAll(call, monitor->name, now - std::chrono::days(30));
    fields.emplace_back("Uptime30d", UptimeText(month.states));
    AppendAnswers(fields, month.answers);
    std::vector<Fields> outages;
    for (const auto& outage : OutagesIn(month))
      outages.push_back(RowOf(outage, now, isJson));
    fields.emplace_back("Outages30d", std::move(outages));
    if (isJson) {
      all.push_back(std::move(fields));
      continue;
    }
    if (!all.empty()) PrintLine("");
    std::erase_if(fields, [](const Field& field) { return field.text.empty() && !field.objects; });
    PrintFields(fields);
    all.emplace_back();
  }
  if (isJson && (isList || !all.empty())) PrintLine(isList ? Json(all) : Json(all.front()));
  return Done;
}

ExitCode Report(const Call& call) {
  const auto since = SinceOf(call, std::chrono::days(30));
  struct Row {
    double uptime;
    Fields fields;
  };
  std::vector<Row> rows;
  for (const auto& [id, name] : call.engine.Select(call.operands)) {
    const auto history = InAll(call, name, since);
    milliseconds longest{0}, ended{0};
    std::int64_t ends = 0;
    const auto outages = OutagesIn(history);
    for (const auto& outage : outages) {
      const auto length =
          std::chrono::floor<milliseconds>(outage.until.value_or(history.until) - outage.since);
      longest = std::max(longest, length);
      if (!outage.until) continue;
      ended += length;
      ++ends;
    }
    const bool isJson = call.IsJson() || call.Has("--csv");
    Fields fields = {{"Name", name}};
    AppendStates(fields, history.states, isJson);
    fields.emplace_back("Outages", static_cast<long long>(outages.size() + history.outagesOmitted));
    fields.push_back(TimeOf("Longest", longest, isJson));
    fields.push_back(TimeOf("MeanRecovery", ends == 0 ? ended : ended / ends, isJson));
    AppendAnswers(fields, history.answers);
    rows.push_back({history.states.Uptime().value_or(2), std::move(fields)});
  }
  std::ranges::stable_sort(rows, {}, &Row::uptime);
  std::vector<Fields> table;
  for (auto& row : rows)
    table.push_back(std::move(row.fields));
  if (call.Has("--csv")) {
    PrintCsv(table);
  } else {
    call.IsJson() ? PrintLine(Json(table)) : PrintTable(table);
  }
  return Done;
}

}  // namespace norvane::ctl
