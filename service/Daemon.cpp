#include "service/Daemon.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "platform/FileNames.h"

namespace norvane::service {

namespace {
[[noreturn]] void Fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

[[noreturn]] void AwaitChild(pid_t child, int ready) {
  char byte = 0;
  ssize_t got = 0;
  do {
    got = ::read(ready, &byte, 1);
  } while (got < 0 && errno == EINTR);
  if (got == 1) ::_exit(0);
  int status = 0;
  ::waitpid(child, &status, 0);
  ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE);
}
}  // namespace

Daemon::Daemon() {
  ::close_range(STDERR_FILENO + 1, ~0U, 0);  // our parent may wait for the end of a pipe or a lock
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) Fail("pipe");
  const platform::FileDescriptor readEnd(ends[0]);
  m_ready.Reset(ends[1]);
  const pid_t child = ::fork();
  if (child < 0) Fail("fork");
  if (child > 0) {
    m_ready.Reset();
    AwaitChild(child, readEnd.Get());
  }
  ::setsid();
  const platform::FileDescriptor nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (!nothing || ::dup2(nothing.Get(), STDIN_FILENO) < 0) Fail("/dev/null");
}

std::string Daemon::Ready(const std::string& folder) {
  const auto logFolder = platform::PathIn(folder, platform::files::LogFolder);
  const auto path = platform::PathIn(folder, platform::files::EngineLog);
  ::mkdir(logFolder.c_str(), 0700);
  // Non-blocking, so that a FIFO of that name cannot block the engine and the process that starts it.
  platform::FileDescriptor log(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
  std::string problem;
  if (!log) {
    problem = path + ": " + std::generic_category().message(errno);
    log.Reset(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  }
  if (::write(m_ready.Get(), "r", 1) != 1) Fail("the process that started this one");
  m_ready.Reset();
  if (::dup2(log.Get(), STDOUT_FILENO) < 0 || ::dup2(log.Get(), STDERR_FILENO) < 0) Fail(path);
  return problem;
}

}  // namespace norvane::service
