// norvanectl: the engine from a terminal or a script.

#include <csignal>
#include <cstdio>

#include "console/engine/EngineError.h"
#include "ctl/Commands.h"
#include "ctl/Help.h"
#include "ctl/Output.h"

namespace {
using namespace norvane::ctl;
using norvane::console::engine::EngineError;
using norvane::console::engine::EngineErrorCode;

int Main(std::span<char*> words, const Command*& command) {
  const auto arguments = Parse(words, command);
  if (arguments.Has("--help")) {
    Print(command == nullptr ? HelpText() : HelpText(*command));
    return Done;
  }
  if (arguments.Has("--version")) {
    PrintLine("norvanectl " NORVANE_VERSION);
    return Done;
  }
  try {
    return Run(arguments);
  } catch (const EngineError& error) {
    const bool noAnswer = error.Code() == EngineErrorCode::Gone || error.Code() == EngineErrorCode::TimedOut;
    const bool mayStart = Escaped(error.what()).starts_with("no engine answers") &&
                          !arguments.Has("--start") && !arguments.Has("--host");
    std::fprintf(stderr, "norvanectl: %s%s\n", Escaped(error.what()).c_str(),
                 mayStart ? "; --start starts it" : "");
    return noAnswer ? NoEngine : Refused;
  }
}
}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // the engine may go at any time
  const Command* command = nullptr;
  try {
    return Main({argv + 1, static_cast<std::size_t>(argc < 1 ? 0 : argc - 1)}, command);
  } catch (const UsageError& error) {
    const auto where = command == nullptr ? std::string("--help") : std::string(command->name) + " --help";
    std::fprintf(stderr, "norvanectl: %s; see norvanectl %s\n", error.what(), where.c_str());
    return InvalidUsage;
  } catch (const ClosedPipe&) {
    // Who reads has seen enough: ends as a program does that knows nothing of pipes.
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "norvanectl: %s\n", error.what());
  }
  return NotGood;
}
