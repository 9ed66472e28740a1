#include "ctl/Output.h"

#include <capnp/compat/json.h>
#include <capnp/message.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "ctl/Arguments.h"
#include "link/Wire.h"
#include "platform/Ascii.h"
#include "platform/Utf8.h"

namespace norvane::ctl {

namespace ce = console::engine;
namespace keys = ce::keys;

using platform::DisplayWidth;

namespace {
void Fill(capnp::JsonValue::Builder json, const std::vector<Fields>& objects);

void Fill(capnp::JsonValue::Builder json, const Fields& fields) {
  auto object = json.initObject(static_cast<unsigned>(fields.size()));
  for (unsigned i = 0; i < fields.size(); ++i) {
    object[i].setName(link::ToText(platform::ValidUtf8(fields[i].name)));
    auto value = object[i].initValue();
    if (fields[i].objects) {
      Fill(value, *fields[i].objects);
    } else if (fields[i].isNumber) {
      value.setNumber(static_cast<double>(std::stoll(fields[i].text)));
    } else {
      value.setString(link::ToText(platform::ValidUtf8(fields[i].text)));
    }
  }
}

void Fill(capnp::JsonValue::Builder json, const std::vector<Fields>& objects) {
  auto array = json.initArray(static_cast<unsigned>(objects.size()));
  for (unsigned i = 0; i < objects.size(); ++i)
    Fill(array[i], objects[i]);
}

std::string Encode(capnp::JsonValue::Reader json) {
  capnp::JsonCodec codec;
  codec.setPrettyPrint(false);
  const kj::String text = codec.encodeRaw(json);
  return {text.begin(), text.end()};
}

long long Seconds(std::chrono::system_clock::time_point at) {
  return std::chrono::duration_cast<std::chrono::seconds>(at.time_since_epoch()).count();
}
}  // namespace

std::string Json(const Fields& fields) {
  capnp::MallocMessageBuilder message;
  auto json = message.initRoot<capnp::JsonValue>();
  Fill(json, fields);
  return Encode(json);
}

std::string Json(const std::vector<Fields>& objects) {
  capnp::MallocMessageBuilder message;
  auto json = message.initRoot<capnp::JsonValue>();
  Fill(json, objects);
  return Encode(json);
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    const auto [code, size] = platform::FirstCharacter(text);
    const auto bytes = text.substr(0, std::max<std::size_t>(size, 1));
    text.remove_prefix(bytes.size());
    // Some terminals interpret C1 as single bytes too.
    if (size != 0 && !platform::IsControl(code)) {
      escaped += bytes;
      continue;
    }
    for (const char byte : bytes)
      escaped += "\\x" + platform::HexText(static_cast<unsigned char>(byte));
  }
  return escaped;
}

std::string TimeText(std::chrono::system_clock::time_point at) {
  if (at == std::chrono::system_clock::time_point()) return "never";
  const std::time_t time = std::chrono::system_clock::to_time_t(at);
  std::tm local{};
  ::localtime_r(&time, &local);
  char text[40];
  const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &local);
  return std::string(text, size).insert(size - 2, ":");  // +0100 -> +01:00
}

std::string Shown(std::string_view key, std::string_view value, Secrets secrets) {
  const bool isHidden = secrets == Secrets::Hidden && ce::IsSecret(key) && !value.empty();
  return std::string(isHidden ? "(hidden)" : value);
}

Fields AttributesOf(const ce::MonitorRecord& monitor, Secrets secrets) {
  Fields fields;
  for (std::size_t i = 0; i < ce::KnownKeys.size(); ++i)
    fields.emplace_back(std::string(ce::KnownKeys[i]), Shown(ce::KnownKeys[i], monitor.known[i], secrets));
  for (const auto& [key, value] : monitor.others)
    fields.emplace_back(key, value);
  return fields;
}

Fields SummaryOf(const ce::MonitorRecord& monitor, const ce::SilenceInfo* silence) {
  return {{"Name", monitor.name},
          {std::string(keys::Status), std::string(monitor.Get(keys::Status))},
          {std::string(keys::Result), std::string(monitor.Get(keys::Result))},
          {"Since", TimeText(monitor.since)},
          {"LastCheck", TimeText(monitor.checkedAt)},
          {"DurationMs", static_cast<long long>(monitor.checkDuration.count())},
          {"Failures", static_cast<long long>(monitor.failuresInARow)},
          {std::string(keys::Parent), std::string(monitor.Get(keys::Parent))},
          {"SilencedUntil", silence == nullptr ? "" : TimeText(silence->until)},
          {"Because", silence == nullptr ? "" : silence->because}};
}

Fields OwedOf(const ce::OwedMessage& message) {
  const bool isDue = message.nextTry == std::chrono::system_clock::time_point();
  return {{"Name", message.monitor},
          {"Message", message.message},
          {"To", message.to},
          {"Mode", message.mode},
          {"Since", TimeText(message.since)},
          {"Tries", static_cast<long long>(message.tries)},
          {"Reason", message.reason},
          {"NextTry", isDue ? "now" : TimeText(message.nextTry)}};
}

namespace {
template <class Count>
long long Number(Count count) {
  return static_cast<long long>(count);
}

std::string HealthOf(const ce::EngineStatus& status) {
  if (status.stalled.empty()) return status.conditions.empty() ? "good" : "not good";
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(status.stalledFor).count();
  return "stalled for " + std::to_string(seconds) + " s (" + status.stalled + ")";
}

std::vector<Fields> ConditionsOf(const ce::EngineStatus& status) {
  std::vector<Fields> conditions;
  for (const auto& [text, since] : status.conditions)
    conditions.push_back({{"Since", TimeText(since)}, {"Text", text}});
  return conditions;
}
}  // namespace

Fields StatusOf(const ce::EngineInfo& info, const ce::EngineStatus& status) {
  return {{"Folder", info.folder},
          {"Version", info.version},
          {"ProcessId", static_cast<long long>(info.processId)},
          {"Instance", info.instance},
          {"Started", TimeText(info.startedAt)},
          {"StartedAt", Seconds(info.startedAt)},
          {"Monitors", Number(status.monitors)},
          {"Running", Number(status.running)},
          {"Failing", Number(status.failing)},
          {"Health", HealthOf(status)},
          {"ChecksMade", Number(status.checksMade)},
          {"ChecksFailed", Number(status.checksFailed)},
          {"ChecksNotMade", Number(status.checksNotMade)},
          {"ResultsThrownAway", Number(status.resultsThrownAway)},
          {"LatestStartMs", Number(status.latestStart.count())},
          {"LongestTurnUs", Number(status.longestTurn.count())},
          {"InFlight", Number(status.inFlight)},
          {"Waiting", Number(status.waiting)},
          {"Overdue", Number(status.overdue.size())},
          {"Conditions", ConditionsOf(status)}};
}

void Print(const std::string& text) {
  // A value may hold any byte, NUL too.
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) return;
  if (errno == EPIPE) throw ClosedPipe();
  throw std::runtime_error("cannot write to standard output");
}

void PrintLine(const std::string& text) {
  Print(text + '\n');
}

void PrintFields(const Fields& fields) {
  std::size_t width = 0;
  for (const auto& field : fields)
    width = std::max(width, DisplayWidth(Escaped(field.name)));
  for (const auto& field : fields) {
    const auto name = Escaped(field.name);
    const auto print = [&](const std::string& text) {
      PrintLine(name + std::string(width - DisplayWidth(name) + 2, ' ') + text);
    };
    if (!field.objects) print(Escaped(field.text));
    for (const auto& object : field.objects.value_or(std::vector<Fields>())) {
      std::string line;
      for (const auto& value : object)
        line += (line.empty() ? "" : " ") + Escaped(value.text);
      print(line);
    }
  }
}

std::vector<std::string> TableLines(const std::vector<Fields>& rows) {
  if (rows.empty()) return {};
  std::vector<std::string> lines(rows.size() + 1);
  for (std::size_t column = 0; column < rows.front().size(); ++column) {
    std::vector<std::string> cells = {rows.front()[column].name};
    bool isEmpty = true;
    for (const auto& row : rows) {
      cells.push_back(Escaped(row[column].text));
      isEmpty = isEmpty && cells.back().empty();
    }
    if (isEmpty) continue;
    std::size_t width = 0;
    for (const auto& line : lines)
      width = std::max(width, DisplayWidth(line));
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (column > 0 && !cells[i].empty()) lines[i] += std::string(width + 2 - DisplayWidth(lines[i]), ' ');
      lines[i] += cells[i];
    }
  }
  return lines;
}

void PrintTable(const std::vector<Fields>& rows, const std::vector<Style>& styles) {
  const auto lines = TableLines(rows);
  for (std::size_t i = 0; i < lines.size(); ++i)
    PrintLine(Styled(lines[i], i > 0 && i <= styles.size() ? styles[i - 1] : Style::Plain));
}

Style StyleOf(const ce::MonitorRecord& monitor) {
  if (monitor.Get(keys::Status) != ce::StatusEnable) return Style::Faint;
  return ce::IsFailure(monitor.Get(keys::Result)) ? Style::Bad : Style::Plain;
}

std::string Styled(const std::string& line, Style style) {
  static const bool hasColours = [] {
    const char* forbidden = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && (forbidden == nullptr || *forbidden == '\0') &&
           terminal != nullptr && std::string_view(terminal) != "dumb";
  }();
  if (!hasColours || style == Style::Plain) return line;
  return (style == Style::Bad ? "\x1b[31m" : "\x1b[2m") + line + "\x1b[0m";
}

std::string_view TypeCalled(std::string_view name, const std::vector<std::string_view>& types) {
  std::string known;
  for (const auto type : types) {
    if (!name.empty() && platform::StartsWithIgnoringCase(type, name)) return type;
    known.append(known.empty() ? "" : ", ").append(type);
  }
  throw UsageError("unknown type " + Escaped(name) + "; known are " + known);
}

}  // namespace norvane::ctl
