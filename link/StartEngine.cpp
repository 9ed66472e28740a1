#include "link/StartEngine.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace norvane::link {

namespace {
constexpr int FolderInUse = 3;  // another engine serves the folder

int WaitForEnd(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    // It has ended, but its status is lost if SIGCHLD is ignored, which we may have inherited.
    if (errno == ECHILD) return 0;
    if (errno != EINTR)
      throw std::system_error(errno, std::generic_category(), "can not wait for the engine");
  }
  return status;
}
}  // namespace

void StartEngine(const std::string& folder) {
  std::string program = folder + "/norvane-engine";
  std::string detach = "--detach";
  char* const arguments[] = {program.data(), detach.data(), nullptr};
  pid_t child = 0;
  if (const int error = ::posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ))
    throw std::system_error(error, std::generic_category(), "can not start " + program);
  const int status = WaitForEnd(child);
  const bool ended = WIFEXITED(status);
  if (ended && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == FolderInUse)) return;
  throw std::runtime_error(program + (ended ? " ended with code " + std::to_string(WEXITSTATUS(status))
                                            : std::string(" was killed at its start")));
}

}  // namespace norvane::link
