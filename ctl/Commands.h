#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/Port.h"
#include "ctl/Arguments.h"

namespace norvane::ctl {

/// The program's exit codes.
enum ExitCode { Done = 0, NotGood = 1, InvalidUsage = 2, NoEngine = 3, Refused = 4 };

/// What every command gets.
struct Call {
  console::engine::Port& engine;
  const Arguments& arguments;
  const std::vector<std::string>& operands = arguments.operands;

  [[nodiscard]] bool Has(std::string_view option) const { return arguments.Has(option); }
  [[nodiscard]] bool IsJson() const { return Has("--json"); }
};

/// A command and all that is said of it: help, manual and completion come from here.
struct Command {
  /// Of whom it may ask.
  enum class Reads {
    Nothing,  ///< no engine
    Named,  ///< the engine, without a copy of all monitors, so that it takes the same time however many there
            ///< are
    All,    ///< a copy of all monitors, which follows them
  };
  std::string_view name;
  std::string_view operands;  ///< "NAME... KEY"
  std::size_t least, most;    ///< operands
  Reads reads;
  ExitCode (*run)(const Call&);
  std::span<const Option> options;
  std::string_view summary;  ///< one line
  std::string_view more;     ///< sentences; may be empty
};

[[nodiscard]] std::span<const Command> AllCommands();

/// Runs the command that `arguments` name. Throws UsageError, EngineError, std::runtime_error.
[[nodiscard]] ExitCode Run(const Arguments& arguments);

/// The monitors that these names, or --all, stand for. Throws UsageError if there is neither.
[[nodiscard]] std::vector<console::engine::NamedMonitor> Selected(const Call& call,
                                                                  const std::vector<std::string>& names);
/// Whether the answer is a list, even if one monitor alone is in it.
[[nodiscard]] bool NamesSeveral(const Call& call, const std::vector<std::string>& names);
[[nodiscard]] console::engine::MonitorSnapshot Read(
    const Call& call, const std::vector<console::engine::NamedMonitor>& monitors);

// The engine
[[nodiscard]] ExitCode Status(const Call& call);
[[nodiscard]] ExitCode Owed(const Call& call);
[[nodiscard]] ExitCode Save(const Call& call);
[[nodiscard]] ExitCode Load(const Call& call);
[[nodiscard]] ExitCode Shutdown(const Call& call);

// Monitors
[[nodiscard]] ExitCode List(const Call& call);
[[nodiscard]] ExitCode Get(const Call& call);
[[nodiscard]] ExitCode Set(const Call& call);
[[nodiscard]] ExitCode Add(const Call& call);
[[nodiscard]] ExitCode Remove(const Call& call);
[[nodiscard]] ExitCode Start(const Call& call);
[[nodiscard]] ExitCode Stop(const Call& call);
[[nodiscard]] ExitCode Check(const Call& call);
[[nodiscard]] ExitCode Notify(const Call& call);
[[nodiscard]] ExitCode Silence(const Call& call);
[[nodiscard]] ExitCode Unsilence(const Call& call);
[[nodiscard]] ExitCode Show(const Call& call);
[[nodiscard]] ExitCode History(const Call& call);
[[nodiscard]] ExitCode Report(const Call& call);
[[nodiscard]] ExitCode Metrics(const Call& call);
/// A screen of monitors on a terminal, until q is pressed; else a line for each change, until the engine
/// ends.
[[nodiscard]] ExitCode Watch(const Call& call);

// Monitors as text. `Validate` needs no engine.
[[nodiscard]] ExitCode Export(const Call& call);
[[nodiscard]] ExitCode Apply(const Call& call);
[[nodiscard]] ExitCode Validate(const Call& call);

}  // namespace norvane::ctl
