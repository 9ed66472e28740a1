#include "link/SshForward.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "platform/FileNames.h"

namespace norvane::link {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace {

/// Tells the folder of the user there, then waits for the end of its input. Nothing that anybody typed is in
/// it.
constexpr const char* Command =
    "exec sh -c 'printf \"norvane-folder:%s\\n\" \"${XDG_DATA_HOME:-$HOME/.local/share}/norvane\"; exec cat "
    ">/dev/null'";
constexpr std::string_view Marker = "norvane-folder:";
constexpr std::size_t MaxText = 8192;

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    read = platform::FileDescriptor(ends[0]);
    write = platform::FileDescriptor(ends[1]);
  }
  platform::FileDescriptor read, write;
};

pid_t Spawn(const std::vector<std::string>& words, int in, int out, int err) {
  std::vector<char*> pointers;
  for (const auto& word : words)
    pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, in, STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, err, STDERR_FILENO);
  pid_t child = -1;
  const int error = ::posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), "can not start ssh");
  return child;
}

/// What comes until `deadline`, the end, or `until` has come; at most `MaxText`.
std::string ReadText(int descriptor, Clock::time_point deadline, std::string_view until) {
  std::string text;
  while (text.size() < MaxText && (until.empty() || text.find(until) == std::string::npos)) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
    pollfd input{descriptor, POLLIN, 0};
    if (left <= 0 || ::poll(&input, 1, static_cast<int>(left)) == 0) break;
    std::array<char, 1024> bytes{};
    const auto size = ::read(descriptor, bytes.data(), bytes.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) break;
    text.append(bytes.data(), static_cast<std::size_t>(size));
  }
  return text;
}

/// ssh's last line, which says what went wrong.
std::string LastLine(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
    text.pop_back();
  const auto line = text.substr(text.rfind('\n') + 1);
  return line.empty() ? "it ended without a word" : line;
}

}  // namespace

SshForward::SshForward(const std::string& host, const std::string& folder, std::chrono::seconds timeout)
    : m_host(host), m_remote(folder), m_deadline(Clock::now() + timeout) {
  // ssh would take these for options, or for the end of a path.
  if (host.empty() || host.starts_with('-')) throw std::runtime_error("not a host: " + host);
  if (!folder.empty() && (!folder.starts_with('/') || folder.find(':') != std::string::npos))
    throw std::runtime_error("not an absolute path without colons: " + folder);
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  m_local = std::string(runtime != nullptr && *runtime == '/' ? runtime : "/tmp") + "/norvane-ssh.XXXXXX";
  if (::mkdtemp(m_local.data()) == nullptr) throw std::system_error(errno, std::generic_category(), m_local);
  try {
    Connect();
    Forward();
  } catch (...) {
    End();
    throw;
  }
}

SshForward::~SshForward() {
  End();
}

void SshForward::Connect() {
  Pipe in, out, err;
  m_ssh = Spawn({"ssh", "-T", "-M", "-S", m_local + "/control", "-o", "ControlPersist=no", "-o",
                 "ExitOnForwardFailure=yes", "-o", "ServerAliveInterval=10", "-o", "ServerAliveCountMax=3",
                 "--", m_host, Command},
                in.read.Get(), out.write.Get(), err.write.Get());
  m_in = std::move(in.write);
  m_out = std::move(out.read);
  m_err = std::move(err.read);
  out.write.Reset();
  err.write.Reset();
  const auto folder = ReadRemoteFolder();
  if (m_remote.empty()) m_remote = folder;
}

std::string SshForward::ReadRemoteFolder() {
  // Whatever the user's shell prints when it starts comes first.
  std::string text;
  while (true) {
    const auto more = ReadText(m_out.Get(), m_deadline, "\n");
    text += more;
    const auto at = text.find(Marker);
    const auto end = at == std::string::npos ? at : text.find('\n', at);
    if (end != std::string::npos) return text.substr(at + Marker.size(), end - at - Marker.size());
    if (text.size() > MaxText)
      throw std::runtime_error("ssh " + m_host + ": too much is printed at a log-in");
    if (!more.empty()) continue;
    if (Clock::now() >= m_deadline) throw std::runtime_error("ssh " + m_host + ": no answer in time");
    throw std::runtime_error("ssh " + m_host + ": " + LastLine(ReadText(m_err.Get(), m_deadline, "")));
  }
}

void SshForward::Forward() {
  const auto path = [](const std::string& folder) {
    return platform::PathIn(folder, platform::files::EngineSocket);
  };
  Pipe err;
  const platform::FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
  const auto child = Spawn({"ssh", "-S", m_local + "/control", "-O", "forward", "-L",
                            path(m_local) + ":" + path(m_remote), "--", m_host},
                           null.Get(), null.Get(), err.write.Get());
  err.write.Reset();
  const auto text = ReadText(err.read.Get(), m_deadline, "");
  if (Clock::now() >= m_deadline) ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw std::runtime_error("ssh " + m_host + ": " + LastLine(text));
}

void SshForward::End() noexcept {
  m_in.Reset();  // the command there ends, and ssh with it
  if (m_ssh > 0) {
    ::kill(m_ssh, SIGTERM);
    ::waitpid(m_ssh, nullptr, 0);
    m_ssh = -1;
  }
  for (const auto* name : {"/control", "/NorvaneEngine.sock"})
    ::unlink((m_local + name).c_str());
  ::rmdir(m_local.c_str());
}

}  // namespace norvane::link
