// The commands by which monitors go to and come from text files.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
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
  const auto monitors = Read(call, call.engine.Select(call.operands));
  const auto secrets = call.Has("--secrets") ? text::Secrets::Shown : text::Secrets::Hidden;
  const auto text = text::TextOf(monitors, call.engine.Info().folder, secrets);
  const auto file = call.arguments.ValueOf("--file");
  call.Has("--file") ? WriteOwnFile(file, text) : Print(text);
  return Done;
}

ExitCode Apply(const Call& call) {
  const auto& info = call.engine.Info();
  std::vector<std::string_view> types;
  for (const auto& type : info.monitorTypes)
    types.emplace_back(type.name);
  const auto description = text::ReadMonitorFiles(call.operands, types);
  if (!PrintMistakes(description)) return InvalidUsage;
  const auto basedOn = call.engine.LastChange();
  const auto plan = text::MakePlan(description, call.engine.Snapshot(), info.folder, call.Has("--prune"));
  for (const auto& remark : plan.remarks)
    std::fprintf(stderr, "%s\n", Escaped(remark).c_str());
  Print(plan.text);
  if (plan.changes.empty()) return Done;
  if (call.Has("--dry-run")) return NotGood;
  if (!call.Has("--yes") && !Agrees()) return NotGood;
  ce::OpenGate(call.engine);
  call.engine.Change(plan.changes, basedOn);
  return Done;
}

ExitCode Validate(const Call& call) {
  const auto description = text::ReadMonitorFiles(call.operands);
  if (!PrintMistakes(description)) return InvalidUsage;
  PrintLine(CountText(description));
  return Done;
}

}  // namespace norvane::ctl
