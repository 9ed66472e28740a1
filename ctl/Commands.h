#pragma once

#include "ctl/Arguments.h"
#include "link/EngineClient.h"

namespace norvane::ctl {

/// The program's exit codes.
enum ExitCode { Done = 0, NotGood = 1, BadUse = 2, NoEngine = 3, Refused = 4 };

/// What every command gets: the engine, and what was said behind the command's name.
struct Call {
  link::EngineClient& engine;
  const Arguments& arguments;
  std::vector<std::string> operands;
};

/// Runs the command that `arguments` name. Throws WrongUse, EngineError, std::runtime_error.
[[nodiscard]] ExitCode Run(const Arguments& arguments);

/// The text of --help.
[[nodiscard]] std::string HelpText();

/// A line for each change, until the engine ends.
[[nodiscard]] ExitCode Watch(const Call& call);

}  // namespace norvane::ctl
