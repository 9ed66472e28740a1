#include "tests/support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace norvane::tests {

namespace {
struct Pipe {
  platform::FileDescriptor read, write;
  Pipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    read.Reset(ends[0]);
    write.Reset(ends[1]);
  }
};

/// Reads what has come; false at the end.
bool ReadSome(const platform::FileDescriptor& from, std::string& to) {
  char buffer[4096];
  const ssize_t got = ::read(from.Get(), buffer, sizeof buffer);
  if (got < 0 && errno == EINTR) return true;
  if (got <= 0) return false;
  to.append(buffer, static_cast<std::size_t>(got));
  return true;
}
}  // namespace

std::string Program(const std::string& name) {
  const char* folder = std::getenv("NORVANE_BIN");
  if (folder == nullptr)
    throw std::runtime_error("NORVANE_BIN names the folder of the built programs; ctest sets it");
  return std::string(folder) + "/" + name;
}

Process::Process(const std::vector<std::string>& command, const std::string& input) {
  Pipe in, out, err;
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, in.read.Get(), STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, out.write.Get(), STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, err.write.Get(), STDERR_FILENO);
  std::vector<char*> arguments;
  for (const auto& argument : command)
    arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const int error = ::posix_spawn(&m_pid, command[0].c_str(), &actions, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), command[0]);
  if (::write(in.write.Get(), input.data(), input.size()) != static_cast<ssize_t>(input.size()))
    throw std::system_error(errno, std::generic_category(), "the program's input");
  m_out = std::move(out.read);
  m_err = std::move(err.read);
}

Process::~Process() {
  if (m_pid < 0) return;
  ::kill(m_pid, SIGKILL);
  ::waitpid(m_pid, nullptr, 0);
}

void Process::Signal(int signal) const {
  ::kill(m_pid, signal);
}

bool Process::HasWritten(const std::string& text) {
  pollfd fd{m_out.Get(), POLLIN, 0};
  if (::poll(&fd, 1, 0) == 1 && !ReadSome(m_out, m_written)) throw std::runtime_error("no further output");
  return m_written.find(text) != std::string::npos;
}

Finished Process::Wait() {
  Finished result;
  result.out = std::move(m_written);
  pollfd fds[] = {{m_out.Get(), POLLIN, 0}, {m_err.Get(), POLLIN, 0}};
  while (fds[0].fd >= 0 || fds[1].fd >= 0) {
    if (::poll(fds, 2, -1) < 0 && errno != EINTR)
      throw std::system_error(errno, std::generic_category(), "poll");
    if (fds[0].revents != 0 && !ReadSome(m_out, result.out)) fds[0].fd = -1;
    if (fds[1].revents != 0 && !ReadSome(m_err, result.err)) fds[1].fd = -1;
  }
  int status = 0;
  ::waitpid(m_pid, &status, 0);
  m_pid = -1;
  result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.hasDumped = WIFSIGNALED(status) && WCOREDUMP(status);
  return result;
}

Finished RunProgram(const std::vector<std::string>& command, const std::string& input) {
  return Process(command, input).Wait();
}

}  // namespace norvane::tests
