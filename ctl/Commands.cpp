#include "ctl/Commands.h"

#include <array>
#include <optional>

#include "console/engine/EngineError.h"
#include "ctl/Output.h"
#include "link/EngineClient.h"
#include "link/SshForward.h"
#include "link/StartEngine.h"

namespace norvane::ctl {

namespace ce = console::engine;

namespace {

constexpr std::size_t Any = 65536;
using Reads = Command::Reads;

constexpr Option AllMonitors{"--all", "", "all monitors"};

constexpr std::array Alone = {AllMonitors};
constexpr std::array OfList = {
    Option{"--failing", "", "only running monitors whose last check failed"},
    Option{"--stopped", "", "only stopped monitors; with --failing: either"},
    Option{"--type", "TYPE", "only monitors of this type, such as web, pop3 or smtp"},
    Option{"--names", "", "print the full names alone"},
};
constexpr std::array OfSet = {
    AllMonitors,
    Option{"--stdin", "", "read the value from standard input"},
    Option{"--force", "", "store a key, or a value, that the engine would ignore or clamp"},
};
constexpr std::array OfOwed = {Option{"--drop", "", "drop them; their logs say so"}};
constexpr std::array OfSilence = {
    AllMonitors,
    Option{"--for", "TIME", "how long: seconds, or a number with a unit, such as 90s, 30m, 2h or 1d"},
    Option{"--because", "TEXT", "why, for whoever sees it"},
};
constexpr Option Since{"--since", "TIME",
                       "from a time before now, such as 12h or 7d, or from a date, such as 2026-11-24"};
constexpr Option Csv{"--csv", "", "print comma-separated values (RFC 4180)"};
constexpr std::array OfHistory = {Since,
                                  Option{"--step", "TIME", "length of the steps, such as 5m, 1h or 1d"}, Csv};
constexpr std::array OfReport = {Since, Csv};
constexpr std::array OfExport = {Option{"--file", "FILE", "write to FILE, which only you can read"}};
constexpr std::array OfApply = {
    Option{"--dry-run", "", "show the plan only; exit status 1 if there is something to do"},
    Option{"--prune", "", "remove monitors that no file describes"},
    Option{"--yes", "", "don't ask"},
};
constexpr std::array OfShutdown = {Option{"--force", "", "end it even if it cannot save"}};

constexpr std::array Table = {
    Command{"status",
            "",
            0,
            0,
            Reads::Named,
            Status,
            {},
            "show the engine: folder, process, counts, what is wrong with it",
            "Health is good, not good, or says what part of the engine has stalled for how long; the lines "
            "Conditions "
            "say what is wrong, and since when. The other lines count checks since the engine started: "
            "ChecksNotMade, "
            "those that it could not make in their interval or not judge, and ResultsThrownAway, failures "
            "that may "
            "have been its own, whose checks were made anew. LatestStartMs and LongestTurnUs are the worst "
            "of the last "
            "minute, InFlight and Waiting are checks now, and Overdue are running monitors without a check "
            "for three "
            "of their intervals; Conditions name one that stays so for a minute longer than its time-out."},
    Command{"list", "[NAME...]", 0, Any, Reads::Named, List, OfList,
            "list monitors with their states and last results",
            "Since is the time since which a monitor is good, or fails. Columns without any text are left "
            "out, but "
            "not in JSON."},
    Command{"get", "NAME... [KEY]", 0, Any, Reads::Named, Get, Alone,
            "show all attributes of monitors, or one", "Of two operands and more the last one is the KEY."},
    Command{
        "set", "NAME... KEY [VALUE]", 1, Any, Reads::Named, Set, OfSet, "set an attribute of monitors",
        "The value is a text in UTF-8; the names of files, in commands and log file, may have any bytes. "
        "Without "
        "VALUE, or with --stdin, it is read from standard input, without its final newline, which keeps a "
        "password out of the process list. Two dashes before a VALUE that begins with two dashes keep it "
        "from "
        "being an option."},
    Command{"add",
            "NAME...",
            1,
            Any,
            Reads::Named,
            Add,
            {},
            "add monitors, such as 'WebMonitor Of shop'",
            "They are stopped, and have the defaults of a new monitor."},
    Command{"remove", "NAME...", 0, Any, Reads::Named, Remove, Alone, "remove monitors", ""},
    Command{"start", "NAME...", 0, Any, Reads::Named, Start, Alone, "start monitors", ""},
    Command{"stop", "NAME...", 0, Any, Reads::Named, Stop, Alone, "stop monitors", ""},
    Command{"check", "NAME...", 0, Any, Reads::Named, Check, Alone, "run one check now", ""},
    Command{"notify", "NAME...", 0, Any, Reads::Named, Notify, Alone, "send one notification now", ""},
    Command{"owed", "[NAME...]", 0, Any, Reads::Named, Owed, OfOwed,
            "list the messages that nobody has accepted yet",
            "What, to whom, since when, the tries, why the last one failed, when the next one is due."},
    Command{"silence", "NAME... --for TIME", 0, Any, Reads::Named, Silence, OfSilence,
            "hold messages and commands of monitors for a time",
            "Checks go on. What is held is dropped if the outage ends within the time, and goes when the "
            "time is over "
            "if it doesn't. A silence outlives the engine's end; another one takes its place."},
    Command{"unsilence", "NAME...", 0, Any, Reads::Named, Unsilence, Alone, "end a silence early", ""},
    Command{"save",
            "[FILE]",
            0,
            1,
            Reads::Named,
            Save,
            {},
            "write all monitors to the data file, or to FILE",
            ""},
    Command{"load",
            "[FILE]",
            0,
            1,
            Reads::Named,
            Load,
            {},
            "replace all monitors by those in the data file, or in FILE",
            "Outages, silences and owed messages go on for those that run before and after, by name."},
    Command{"export", "[NAME...]", 0, Any, Reads::Named, Export, OfExport,
            "write monitors as a text that apply reads",
            "See norvane-monitors(5). A file is the owner's only, and written as a whole or not at all. "
            "Passwords are "
            "left out without --secrets."},
    Command{"apply", "FILE...", 1, Any, Reads::All, Apply, OfApply, "change monitors to what files describe",
            "Of a folder, all its .yaml and .yml files. The plan shows what would be added, changed (with "
            "the old and "
            "the new value), and removed; the last only with --prune, without which monitors that no file "
            "describes "
            "stay. On a terminal it asks before it goes on; elsewhere it needs --yes. All of it happens, or "
            "nothing; "
            "a check whose monitor doesn't change goes on. If somebody has changed one of these monitors "
            "since the "
            "plan was made, nothing happens."},
    Command{"validate",
            "FILE...",
            1,
            Any,
            Reads::Nothing,
            Validate,
            {},
            "look for mistakes in such files",
            "Needs no engine."},
    Command{"show", "NAME...", 0, Any, Reads::Named, Show, Alone, "show how monitors fare",
            "State and last check, who is told, uptime, and answer times and outages of the last 30 days. "
            "Uptime is told by time: up / (up + down), without what was stopped, silenced or not watched."},
    Command{
        "history", "NAME", 1, 1, Reads::Named, History, OfHistory, "show what became of a monitor",
        "A line for each step of a time, that of the last day if no other is asked for, and its outages. A "
        "removed monitor is named in full. "
        "Steps are days of UTC, hours, or 5 minutes, as long as these are kept. Percentiles of answer "
        "times are off by an eighth at most."},
    Command{"report", "[NAME...]", 0, Any, Reads::Named, Report, OfReport,
            "compare monitors by uptime, worst first",
            "Of the last 30 days if no other time is asked for. MeanRecovery is the mean length of outages "
            "that have ended."},
    Command{"metrics",
            "[NAME...]",
            0,
            Any,
            Reads::Named,
            Metrics,
            {},
            "print engine and monitors as metrics",
            "In the text format of Prometheus, for a collector of text files."},
    Command{"watch",
            "[NAME...]",
            0,
            Any,
            Reads::All,
            Watch,
            {},
            "show monitors as they change",
            "On a terminal a screen, failing ones first, until q is pressed; else a line for each change, "
            "until the "
            "engine ends."},
    Command{"shutdown", "", 0, 0, Reads::Named, Shutdown, OfShutdown, "end the engine after saving",
            "If it cannot save, it says why and goes on, unless --force ends it all the same."},
};

bool IsPattern(const std::string& name) {
  return name.find_first_of("*?") != std::string::npos;
}

}  // namespace

std::span<const Command> AllCommands() {
  return Table;
}

std::vector<ce::NamedMonitor> Selected(const Call& call, const std::vector<std::string>& names) {
  if (names.empty() != call.Has(AllMonitors.name))
    throw UsageError(names.empty() ? "name monitors, or say --all" : "either names or --all");
  return call.engine.Select(names);
}

bool NamesSeveral(const Call& call, const std::vector<std::string>& names) {
  return call.Has(AllMonitors.name) || names.size() != 1 || IsPattern(names.front());
}

ce::MonitorSnapshot Read(const Call& call, const std::vector<ce::NamedMonitor>& monitors) {
  std::vector<ce::MonitorId> ids;
  ids.reserve(monitors.size());
  for (const auto& monitor : monitors)
    ids.push_back(monitor.id);
  return call.engine.Read(ids);
}

ExitCode Run(const Arguments& arguments) {
  if (arguments.command == nullptr) throw UsageError("no command");
  const auto& command = *arguments.command;
  if (arguments.operands.size() < command.least || arguments.operands.size() > command.most)
    throw UsageError("wrong number of operands for " + std::string(command.name));
  if (arguments.Has("--host") && arguments.Has("--start"))
    throw UsageError("--start starts an engine of this machine only");
  std::optional<link::SshForward> forward;
  if (arguments.Has("--host") && command.reads != Reads::Nothing)
    forward.emplace(arguments.ValueOf("--host"), arguments.folder);
  link::LinkOptions options;
  options.folder = forward ? forward->LocalFolder() : arguments.folder;
  options.follows = command.reads == Reads::All;
  if (arguments.Has("--start")) options.startEngine = [&] { link::StartEngine(arguments.folder); };
  link::EngineClient engine(options);
  try {
    return command.run({engine, arguments});
  } catch (const ce::EngineError& error) {
    if (!forward || error.Code() != ce::EngineErrorCode::Gone) throw;
    throw ce::EngineError(error.Code(), "no engine answers in " + forward->RemoteFolder() + " on " +
                                            arguments.ValueOf("--host"));
  }
}

}  // namespace norvane::ctl
