// The commands for single monitors, named one by one or by pattern. What changes several changes all of them
// or none.

#include <algorithm>
#include <iostream>
#include <iterator>
#include <optional>

#include "console/engine/EngineError.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "formats/Duration.h"
#include "text/AttributeRules.h"
#include "text/MonitorLines.h"

namespace norvane::ctl {

namespace ce = console::engine;
namespace keys = ce::keys;
using What = ce::MonitorChange::What;

namespace {

std::vector<std::string_view> TypesOf(ce::Port& engine) {
  std::vector<std::string_view> types;
  for (const auto& type : engine.Info().monitorTypes)
    types.emplace_back(type.name);
  return types;
}

/// Without the final newline that an editor or `echo` adds.
std::string StandardInput() {
  std::string text(std::istreambuf_iterator<char>(std::cin), {});
  if (text.ends_with('\n')) {
    text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
  }
  return text;
}

using Names = std::vector<std::string>;
using Values = std::vector<std::pair<std::string, std::string>>;

/// Does the same to each of the monitors.
ExitCode Change(const Call& call, What what, const Names& names, const Values& values) {
  std::vector<ce::MonitorChange> changes;
  for (auto& monitor : Selected(call, names))
    changes.push_back({what, std::move(monitor.name), values});
  ce::OpenGate(call.engine);
  call.engine.Change(changes, ce::AnyChange);
  return Done;
}

using Action = ce::Outcome (ce::Port::*)(ce::MonitorId);

/// One after the other, each told as it ends.
ExitCode RunEach(const Call& call, Action action) {
  const auto monitors = Selected(call, call.operands);
  const bool isList = NamesSeveral(call, call.operands);
  ce::OpenGate(call.engine);
  std::vector<Fields> rows;
  bool allGood = true;
  for (const auto& monitor : monitors) {
    const auto outcome = (call.engine.*action)(monitor.id);
    allGood &= outcome.good;
    rows.push_back({{"Name", monitor.name},
                    {"Result", outcome.reason},
                    {"DurationMs", static_cast<long long>(outcome.duration.count())}});
    if (!call.IsJson())
      PrintLine((isList ? Escaped(monitor.name) + ": " : "") + (outcome.good ? "good" : "failed") + " in " +
                rows.back().back().text + " ms: " + Escaped(outcome.reason));
  }
  if (call.IsJson()) PrintLine(isList ? Json(rows) : Json(rows.front()));
  return allGood ? Done : NotGood;
}

}  // namespace

ExitCode List(const Call& call) {
  const bool onlyFailing = call.Has("--failing"), onlyStopped = call.Has("--stopped");
  const auto type = call.Has("--type")
                        ? std::optional(TypeCalled(call.arguments.ValueOf("--type"), TypesOf(call.engine)))
                        : std::nullopt;
  const auto silences = call.engine.Silences();
  std::vector<Fields> rows;
  std::vector<Style> styles;
  for (const auto& monitor : Read(call, call.engine.Select(call.operands))) {
    const auto style = StyleOf(*monitor);
    const bool isWanted = (onlyFailing && style == Style::Bad) || (onlyStopped && style == Style::Faint);
    if ((onlyFailing || onlyStopped) && !isWanted) continue;
    if (type && monitor->TypeName() != *type) continue;
    const auto silence = silences.find(monitor->name);
    rows.push_back(SummaryOf(*monitor, silence == silences.end() ? nullptr : &silence->second));
    styles.push_back(style);
  }
  if (call.Has("--names") && !call.IsJson()) {
    for (const auto& row : rows)
      PrintLine(row.front().text);
  } else {
    call.IsJson() ? PrintLine(Json(rows)) : PrintTable(rows, styles);
  }
  return Done;
}

ExitCode Get(const Call& call) {
  auto names = call.operands;
  std::optional<std::string> key;
  if (names.size() > (call.Has("--all") ? 0u : 1u)) {
    key = names.back();
    names.pop_back();
  }
  const auto secrets = call.Has("--secrets") ? Secrets::Shown : Secrets::Hidden;
  const bool isList = NamesSeveral(call, names);
  std::vector<Fields> rows;
  for (const auto& monitor : Read(call, Selected(call, names))) {
    auto fields =
        key ? Fields{{*key, Shown(*key, monitor->Get(*key), secrets)}} : AttributesOf(*monitor, secrets);
    if (isList) fields.insert(fields.begin(), Field("Name", monitor->name));
    if (call.IsJson()) {
      rows.push_back(std::move(fields));
    } else if (!key) {
      if (isList && !rows.empty()) PrintLine("");
      PrintFields(fields);
      rows.emplace_back();
    } else {
      PrintLine(isList ? Escaped(monitor->name) + ": " + Escaped(fields.back().text) : fields.back().text);
    }
  }
  if (call.IsJson() && (isList || !rows.empty())) PrintLine(isList ? Json(rows) : Json(rows.front()));
  return Done;
}

ExitCode Set(const Call& call) {
  // A secret on the command line would show in the process list, so a value may come from standard input.
  auto names = call.operands;
  const std::size_t least = call.Has("--all") ? 1 : 2;
  if (names.size() < least) throw UsageError("set NAME... KEY [VALUE]");
  std::string value;
  if (call.Has("--stdin") || names.size() == least) {
    value = StandardInput();
  } else {
    value = names.back();
    names.pop_back();
  }
  const auto key = names.back();
  names.pop_back();
  const auto monitors = Selected(call, names);
  if (!call.Has("--force"))
    for (const auto& monitor : monitors)
      if (const auto mistake = text::AttributeMistake(text::TypeNameOf(monitor.name), key, value))
        throw UsageError(*mistake + " (--force stores it)");
  return Change(call, What::Set, names, {{key, value}});
}

ExitCode Add(const Call& call) {
  const auto types = TypesOf(call.engine);
  std::vector<ce::MonitorChange> changes;
  for (const auto& name : call.operands) {
    if (const auto mistake = text::NameMistake(name, types)) throw UsageError(*mistake);
    const auto logFile = text::DefaultOf(keys::LogFile, call.engine.Info().folder);
    changes.push_back({What::Add, name, {{std::string(keys::LogFile), logFile}}});
  }
  ce::OpenGate(call.engine);
  call.engine.Change(changes, ce::AnyChange);
  return Done;
}

ExitCode Remove(const Call& call) {
  return Change(call, What::Remove, call.operands, {});
}
ExitCode Start(const Call& call) {
  return Change(call, What::Set, call.operands, {{std::string(keys::Status), std::string(ce::StatusEnable)}});
}
ExitCode Stop(const Call& call) {
  return Change(call, What::Set, call.operands,
                {{std::string(keys::Status), std::string(ce::StatusDisable)}});
}

ExitCode Check(const Call& call) {
  return RunEach(call, &ce::Port::Check);
}
ExitCode Notify(const Call& call) {
  return RunEach(call, &ce::Port::Notify);
}

namespace {
Names FullNames(const Call& call) {
  Names names;
  for (auto& monitor : Selected(call, call.operands))
    names.push_back(std::move(monitor.name));
  return names;
}
}  // namespace

ExitCode Silence(const Call& call) {
  const auto text = call.arguments.ValueOf("--for");
  if (!call.Has("--for")) throw UsageError("silence NAME... --for TIME [--because TEXT]");
  const auto time = formats::ParseDuration(text);
  if (!time || *time == std::chrono::seconds(0))
    throw UsageError("invalid time, such as 90s, 30m, 2h or 1d: " + Escaped(text));
  const auto names = FullNames(call);
  ce::OpenGate(call.engine);
  if (!names.empty()) call.engine.Silence(names, *time, call.arguments.ValueOf("--because"));
  return Done;
}

ExitCode Unsilence(const Call& call) {
  const auto names = FullNames(call);
  ce::OpenGate(call.engine);
  if (!names.empty()) call.engine.Unsilence(names);
  return Done;
}

}  // namespace norvane::ctl
