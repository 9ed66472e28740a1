#include "ctl/Commands.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <optional>

#include "console/engine/EngineError.h"
#include "ctl/Output.h"
#include "formats/Duration.h"
#include "link/EngineClient.h"
#include "platform/FileNames.h"

namespace norvane::ctl {

namespace ce = console::engine;
namespace keys = ce::keys;

namespace {

// What the commands share

std::string FileOf(const Call& call) {
  return call.operands.empty() ? platform::PathIn(call.arguments.folder, platform::files::EngineData)
                               : std::filesystem::absolute(call.operands[0]).string();
}

ExitCode PrintOutcome(const Call& call, const ce::Outcome& outcome) {
  const long long duration = outcome.duration.count();
  if (call.arguments.json) {
    PrintLine(Json(Fields{{"Result", outcome.reason}, {"DurationMs", duration}}));
  } else {
    PrintLine(std::string(outcome.good ? "good" : "failed") + " in " + std::to_string(duration) +
              " ms: " + Escaped(outcome.reason));
  }
  return outcome.good ? Done : NotGood;
}

// The commands

ExitCode Status(const Call& call) {
  const auto status = call.engine.QueryStatus()->Reply();
  const auto fields = StatusOf(call.engine.Info(), status, call.engine.Snapshot());
  call.arguments.json ? PrintLine(Json(fields)) : PrintFields(fields);
  return status.IsHealthy() ? Done : NotGood;
}

ExitCode List(const Call& call) {
  std::vector<Fields> rows;
  const auto silences = call.engine.Silences();
  for (const auto& monitor : call.engine.Snapshot()) {
    const auto silence = silences.find(monitor->name);
    rows.push_back(SummaryOf(*monitor, silence == silences.end() ? nullptr : &silence->second));
  }
  call.arguments.json ? PrintLine(Json(rows)) : PrintTable(rows);
  return Done;
}

ExitCode Get(const Call& call) {
  const auto monitor = call.engine.Get(call.engine.Find(call.operands[0]));
  if (call.operands.size() == 1) {
    const auto fields = AttributesOf(*monitor);
    call.arguments.json ? PrintLine(Json(fields)) : PrintFields(fields);
    return Done;
  }
  const std::string value(monitor->Get(call.operands[1]));
  PrintLine(call.arguments.json ? Json(Fields{{call.operands[1], value}}) : value);
  return Done;
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

ExitCode Set(const Call& call) {
  // A secret on the command line would show in the process list, so a value may come from standard input.
  const auto value = call.operands.size() == 3 ? call.operands[2] : StandardInput();
  ce::OpenGate(call.engine);
  call.engine.SetAttribute(call.engine.Find(call.operands[0]), call.operands[1], value);
  return Done;
}

ExitCode Add(const Call& call) {
  ce::OpenGate(call.engine);
  call.engine.Add(call.operands[0]);
  call.engine.Init(call.engine.Find(call.operands[0]));
  return Done;
}

ExitCode Remove(const Call& call) {
  ce::OpenGate(call.engine);
  call.engine.Remove(call.operands[0]);
  return Done;
}

ExitCode SetStatus(const Call& call, std::string_view status) {
  ce::OpenGate(call.engine);
  for (const auto& name : call.operands)
    call.engine.SetAttribute(call.engine.Find(name), keys::Status, status);
  return Done;
}

ExitCode Start(const Call& call) {
  return SetStatus(call, ce::StatusEnable);
}
ExitCode Stop(const Call& call) {
  return SetStatus(call, ce::StatusDisable);
}

ExitCode Check(const Call& call) {
  ce::OpenGate(call.engine);
  return PrintOutcome(call, call.engine.Check(call.engine.Find(call.operands[0])));
}

ExitCode Notify(const Call& call) {
  ce::OpenGate(call.engine);
  return PrintOutcome(call, call.engine.Notify(call.engine.Find(call.operands[0])));
}

ExitCode Owed(const Call& call) {
  if (!call.operands.empty()) {
    if (call.operands[0] != "--drop") throw UsageError("unknown operand: " + Escaped(call.operands[0]));
    ce::OpenGate(call.engine);
    call.engine.DropOwed({call.operands.begin() + 1, call.operands.end()});
    return Done;
  }
  std::vector<Fields> rows;
  for (const auto& message : call.engine.Owed())
    rows.push_back(OwedOf(message));
  call.arguments.json ? PrintLine(Json(rows)) : PrintTable(rows);
  return Done;
}

ExitCode Silence(const Call& call) {
  std::vector<std::string> names;
  std::optional<std::chrono::seconds> time;
  std::string because;
  for (auto operand = call.operands.begin(); operand != call.operands.end(); ++operand) {
    const bool isTime = *operand == "--for";
    if (!isTime && *operand != "--because") {
      names.push_back(*operand);
      continue;
    }
    if (++operand == call.operands.end()) throw UsageError(*std::prev(operand) + " needs a value");
    if (!isTime) {
      because = *operand;
    } else if (time = formats::ParseDuration(*operand); !time || *time == std::chrono::seconds(0)) {
      throw UsageError("invalid time, such as 90s, 30m, 2h or 1d: " + Escaped(*operand));
    }
  }
  if (names.empty() || !time) throw UsageError("silence NAME... --for TIME [--because TEXT]");
  ce::OpenGate(call.engine);
  call.engine.Silence(names, *time, because);
  return Done;
}

ExitCode Unsilence(const Call& call) {
  ce::OpenGate(call.engine);
  call.engine.Unsilence(call.operands);
  return Done;
}

ExitCode Save(const Call& call) {
  ce::OpenGate(call.engine);
  call.engine.Save(FileOf(call));
  return Done;
}

ExitCode Load(const Call& call) {
  ce::OpenGate(call.engine);
  call.engine.Load(FileOf(call));
  return Done;
}

ExitCode Shutdown(const Call& call) {
  const bool force = !call.operands.empty();
  if (force && call.operands[0] != "--force") throw UsageError("unknown operand: " + call.operands[0]);
  ce::OpenGate(call.engine);
  try {
    call.engine.Shutdown(force);
  } catch (const ce::EngineError& error) {
    if (error.Code() != ce::EngineErrorCode::Failed) throw;
    throw ce::EngineError(error.Code(),
                          error.what() + std::string("; the engine goes on (shutdown --force ends it)"));
  }
  return Done;
}

struct Command {
  const char* name;
  std::size_t least, most;  // operands
  ExitCode (*run)(const Call&);
  const char* usage;
};
constexpr std::size_t Any = 65536;

constexpr std::array Commands = {
    Command{"status", 0, 0, Status,
            "status               the engine: folder, process, counts, what is wrong with it"},
    Command{"list", 0, 0, List, "list                 all monitors with their last results"},
    Command{"get", 1, 2, Get, "get NAME [KEY]       all attributes of a monitor, or one"},
    Command{"set", 2, 3, Set,
            "set NAME KEY [VALUE] set an attribute; without VALUE it is read from standard input"},
    Command{"add", 1, 1, Add, "add NAME             add a monitor, such as \"WebMonitor Of shop\""},
    Command{"remove", 1, 1, Remove, "remove NAME          remove a monitor"},
    Command{"start", 1, Any, Start, "start NAME...        start monitors"},
    Command{"stop", 1, Any, Stop, "stop NAME...         stop monitors"},
    Command{"check", 1, 1, Check, "check NAME           run one check now"},
    Command{"notify", 1, 1, Notify, "notify NAME          send one notification now"},
    Command{"owed", 0, Any, Owed,
            "owed                 the messages that nobody has accepted yet\n"
            "  owed --drop [NAME...] drop those of these monitors, or all"},
    Command{"silence", 1, Any, Silence,
            "silence NAME... --for TIME [--because TEXT]\n"
            "                       hold messages and commands of these monitors, such as for 30m or 2h"},
    Command{"unsilence", 1, Any, Unsilence, "unsilence NAME...    end a silence early"},
    Command{"save", 0, 1, Save, "save [FILE]          write all monitors to the data file, or to FILE"},
    Command{"load", 0, 1, Load,
            "load [FILE]          replace all monitors by those in the data file, or in FILE"},
    Command{"export", 0, Any, Export,
            "export [PATTERN...] [--file FILE] [--secrets]\n"
            "                       write monitors as a text that apply reads"},
    Command{"apply", 1, Any, Apply,
            "apply FILE... [--dry-run] [--prune] [--yes]\n"
            "                       change monitors to what files describe; see norvane-monitors(5)"},
    Command{"validate", 1, Any, Validate, "validate FILE...     look for mistakes in such files"},
    Command{"watch", 0, 0, Watch, "watch                print a line for each change"},
    Command{"shutdown", 0, 1, Shutdown,
            "shutdown [--force]   end the engine after saving; --force: even if it cannot save"},
};
}  // namespace

std::string HelpText() {
  std::string text =
      "Usage: norvanectl [--folder DIR] [--json] COMMAND\n"
      "Controls the engine of an application folder: the program's own, or DIR.\n\n";
  for (const auto& command : Commands)
    text += std::string("  ") + command.usage + "\n";
  return text +
         "\nExit codes: 0 success (check, notify, status: good), 1 the check or notification failed\n"
         "or something is wrong with the engine, 2 usage error, 3 no engine answers, 4 the engine\n"
         "refused.";
}

ExitCode Run(const Arguments& arguments) {
  if (arguments.words.empty()) throw UsageError("no command");
  const auto command = std::find_if(Commands.begin(), Commands.end(),
                                    [&](const Command& each) { return arguments.words[0] == each.name; });
  if (command == Commands.end()) throw UsageError("unknown command: " + Escaped(arguments.words[0]));
  const std::size_t operands = arguments.words.size() - 1;
  if (operands < command->least || operands > command->most)
    throw UsageError(std::string("wrong number of operands for ") + command->name);
  link::LinkOptions options;
  options.folder = arguments.folder;
  link::EngineClient engine(options);
  return command->run({engine, arguments, {arguments.words.begin() + 1, arguments.words.end()}});
}

}  // namespace norvane::ctl
