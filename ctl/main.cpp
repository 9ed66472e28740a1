// norvanectl: the engine from a terminal or a script.

#include <csignal>
#include <cstdio>

#include "console/engine/EngineError.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"

int main(int argc, char** argv) {
  using namespace norvane::ctl;
  using norvane::console::engine::EngineError;
  using norvane::console::engine::EngineErrorCode;
  std::signal(SIGPIPE, SIG_IGN);
  try {
    const Arguments arguments = Parse(argc, argv);
    if (arguments.help) {
      PrintLine(HelpText());
      return Done;
    }
    return Run(arguments);
  } catch (const UsageError& error) {
    std::fprintf(stderr, "norvanectl: %s\n\n%s\n", error.what(), HelpText().c_str());
    return InvalidUsage;
  } catch (const EngineError& error) {
    std::fprintf(stderr, "norvanectl: %s\n", Escaped(error.what()).c_str());
    const bool noAnswer = error.Code() == EngineErrorCode::Gone || error.Code() == EngineErrorCode::TimedOut;
    return noAnswer ? NoEngine : Refused;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "norvanectl: %s\n", error.what());
    return NotGood;
  }
}
