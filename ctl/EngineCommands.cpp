// The commands for the engine as a whole.

#include <algorithm>
#include <filesystem>

#include "console/engine/EngineError.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "platform/FileNames.h"

namespace norvane::ctl {

namespace ce = console::engine;

namespace {

/// On another machine a path is the engine's.
std::string FileOf(const Call& call) {
  if (call.operands.empty()) return platform::PathIn(call.engine.Info().folder, platform::files::EngineData);
  if (call.Has("--host")) return call.operands[0];
  return std::filesystem::absolute(call.operands[0]).string();
}

/// The monitors among those that owe which these names stand for; they may have been removed meanwhile.
std::vector<std::string> Owing(const std::vector<ce::OwedMessage>& owed,
                               const std::vector<std::string>& names) {
  std::vector<std::string> owing;
  for (const auto& name : names) {
    const auto before = owing.size();
    for (const auto& message : owed) {
      const auto& monitor = message.monitor;
      if (ce::MatchesPattern(name, monitor) || ce::MatchesPattern(name, ce::ShortName(monitor)))
        owing.push_back(monitor);
    }
    if (owing.size() == before)
      throw ce::EngineError(ce::EngineErrorCode::NotFound, "nothing is owed by " + name);
  }
  std::ranges::sort(owing);
  owing.erase(std::unique(owing.begin(), owing.end()), owing.end());
  return owing;
}

}  // namespace

ExitCode Status(const Call& call) {
  const auto status = call.engine.QueryStatus()->Reply();
  const auto fields = StatusOf(call.engine.Info(), status);
  call.IsJson() ? PrintLine(Json(fields)) : PrintFields(fields);
  return status.IsHealthy() ? Done : NotGood;
}

ExitCode Owed(const Call& call) {
  const auto owed = call.engine.Owed();
  const auto owing = Owing(owed, call.operands);
  if (call.Has("--drop")) {
    ce::OpenGate(call.engine);
    call.engine.DropOwed(owing);
    return Done;
  }
  std::vector<Fields> rows;
  for (const auto& message : owed)
    if (owing.empty() || std::ranges::find(owing, message.monitor) != owing.end())
      rows.push_back(OwedOf(message));
  call.IsJson() ? PrintLine(Json(rows)) : PrintTable(rows);
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
  ce::OpenGate(call.engine);
  try {
    call.engine.Shutdown(call.Has("--force"));
  } catch (const ce::EngineError& error) {
    if (error.Code() != ce::EngineErrorCode::Failed) throw;
    throw ce::EngineError(error.Code(),
                          error.what() + std::string("; the engine goes on (shutdown --force ends it)"));
  }
  return Done;
}

}  // namespace norvane::ctl
