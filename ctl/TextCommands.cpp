// The commands by which monitors go to and come from text files.

#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <system_error>

#include "console/engine/EngineError.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "platform/FileDescriptor.h"
#include "text/ApplyPlan.h"
#include "text/MonitorFiles.h"
#include "text/MonitorText.h"

namespace norvane::ctl {

namespace ce = console::engine;

namespace {

/// The operands of a command that has options of its own.
struct TextOperands {
  std::vector<std::string> names;
  std::vector<std::string> flags;
  std::string file;

  [[nodiscard]] bool Has(const std::string& flag) const {
    return std::ranges::find(flags, flag) != flags.end();
  }
};

TextOperands ParseOperands(const Call& call, std::initializer_list<std::string> flags) {
  TextOperands parsed;
  for (auto operand = call.operands.begin(); operand != call.operands.end(); ++operand) {
    if (!operand->starts_with("--")) {
      parsed.names.push_back(*operand);
    } else if (std::ranges::find(flags, *operand) == flags.end()) {
      throw UsageError("unknown operand: " + Escaped(*operand));
    } else if (*operand != "--file") {
      parsed.flags.push_back(*operand);
    } else if (++operand == call.operands.end()) {
      throw UsageError("--file needs a value");
    } else {
      parsed.file = *operand;
    }
  }
  return parsed;
}

ce::MonitorSnapshot Matching(const ce::MonitorSnapshot& monitors, const std::vector<std::string>& patterns) {
  if (patterns.empty()) return monitors;
  ce::MonitorSnapshot matching;
  std::vector<bool> used(patterns.size());
  for (const auto& monitor : monitors) {
    bool matches = false;
    for (std::size_t i = 0; i < patterns.size(); ++i)
      if (monitor->name == patterns[i] || ::fnmatch(patterns[i].c_str(), monitor->name.c_str(), 0) == 0)
        matches = used[i] = true;
    if (matches) matching.push_back(monitor);
  }
  for (std::size_t i = 0; i < patterns.size(); ++i)
    if (!used[i]) throw ce::EngineError(ce::EngineErrorCode::NotFound, "no monitor matches " + patterns[i]);
  return matching;
}

[[noreturn]] void ThrowFileError(const std::string& path) {
  throw std::system_error(errno, std::generic_category(), path);
}

/// As a whole or not at all; nobody else may read it, since it may hold passwords.
void WriteOwnFile(const std::string& path, const std::string& text) {
  auto temporary = path + ".XXXXXX";
  const platform::FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!file) ThrowFileError(path);
  for (std::string_view rest = text; !rest.empty();) {
    const auto written = ::write(file.Get(), rest.data(), rest.size());
    if (written < 0) {
      const auto error = errno;
      ::unlink(temporary.c_str());
      errno = error;
      ThrowFileError(path);
    }
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  if (::fsync(file.Get()) == 0 && ::rename(temporary.c_str(), path.c_str()) == 0) return;
  const auto error = errno;
  ::unlink(temporary.c_str());
  errno = error;
  ThrowFileError(path);
}

/// Whether there is none.
bool PrintMistakes(const text::Description& description) {
  const auto& mistakes = description.mistakes;
  for (const auto& mistake : mistakes.Kept())
    std::fprintf(stderr, "%s\n", Escaped(text::TextOf(mistake, description.files)).c_str());
  if (mistakes.Count() > mistakes.Kept().size())
    std::fprintf(stderr, "and %zu more mistakes\n", mistakes.Count() - mistakes.Kept().size());
  return mistakes.IsEmpty();
}

std::string CountText(const text::Description& description) {
  return std::to_string(description.monitors.size()) + " monitors in " +
         std::to_string(description.files.size()) + (description.files.size() == 1 ? " file" : " files");
}

bool Agrees() {
  if (::isatty(STDIN_FILENO) == 0) throw UsageError("not on a terminal, so apply needs --yes (or --dry-run)");
  std::fputs("Apply this? [y/N] ", stderr);
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace

ExitCode Export(const Call& call) {
  const auto operands = ParseOperands(call, {"--file", "--secrets"});
  const auto monitors = Matching(call.engine.Snapshot(), operands.names);
  const auto secrets = operands.Has("--secrets") ? text::Secrets::Shown : text::Secrets::Hidden;
  auto text = text::TextOf(monitors, call.engine.Info().folder, secrets);
  if (!operands.file.empty()) {
    WriteOwnFile(operands.file, text);
  } else {
    text.pop_back();
    PrintLine(text);
  }
  return Done;
}

ExitCode Apply(const Call& call) {
  const auto operands = ParseOperands(call, {"--dry-run", "--prune", "--yes"});
  if (operands.names.empty()) throw UsageError("apply FILE...");
  const auto& info = call.engine.Info();
  std::vector<std::string_view> types;
  for (const auto& type : info.monitorTypes)
    types.emplace_back(type.name);
  const auto description = text::ReadMonitorFiles(operands.names, types);
  if (!PrintMistakes(description)) return InvalidUsage;
  const auto basedOn = call.engine.LastChange();
  const auto plan = text::MakePlan(description, call.engine.Snapshot(), info.folder, operands.Has("--prune"));
  for (const auto& remark : plan.remarks)
    std::fprintf(stderr, "%s\n", Escaped(remark).c_str());
  PrintLine(plan.text.substr(0, plan.text.size() - 1));
  if (plan.changes.empty()) return Done;
  if (operands.Has("--dry-run")) return NotGood;
  if (!operands.Has("--yes") && !Agrees()) return NotGood;
  ce::OpenGate(call.engine);
  call.engine.Change(plan.changes, basedOn);
  return Done;
}

ExitCode Validate(const Call& call) {
  const auto operands = ParseOperands(call, {});
  const auto description = text::ReadMonitorFiles(operands.names);
  if (!PrintMistakes(description)) return InvalidUsage;
  PrintLine(CountText(description));
  return Done;
}

}  // namespace norvane::ctl
