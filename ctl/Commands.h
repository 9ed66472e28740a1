#pragma once

#include "console/engine/Port.h"
#include "ctl/Arguments.h"

namespace norvane::ctl {

/// The program's exit codes.
enum ExitCode { Done = 0, NotGood = 1, InvalidUsage = 2, NoEngine = 3, Refused = 4 };

/// What every command gets: the engine, and the operands after the command's name.
struct Call {
  console::engine::Port& engine;
  const Arguments& arguments;
  std::vector<std::string> operands;
};

/// Runs the command that `arguments` name. Throws UsageError, EngineError, std::runtime_error.
[[nodiscard]] ExitCode Run(const Arguments& arguments);

/// The text of --help.
[[nodiscard]] std::string HelpText();

// Monitors as text. `Validate` needs no engine.
[[nodiscard]] ExitCode Export(const Call& call);
[[nodiscard]] ExitCode Apply(const Call& call);
[[nodiscard]] ExitCode Validate(const Call& call);

/// A line for each change, until the engine ends.
[[nodiscard]] ExitCode Watch(const Call& call);

}  // namespace norvane::ctl
