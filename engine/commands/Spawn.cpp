#include "engine/commands/Spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <system_error>

extern "C" {  // which glibc 2.36 forgets here
#include <sys/pidfd.h>
}

namespace norvane::engine {

namespace {

using platform::FileDescriptor;

void Check(int error) {
  if (error != 0) throw std::system_error(error, std::generic_category());
}

class FileActions {
 public:
  FileActions(const std::string& folder, int output) {
    Check(::posix_spawn_file_actions_init(&m_actions));
    Check(::posix_spawn_file_actions_addchdir_np(&m_actions, folder.c_str()));
    Check(::posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    Check(::posix_spawn_file_actions_adddup2(&m_actions, output, STDOUT_FILENO));
    Check(::posix_spawn_file_actions_adddup2(&m_actions, output, STDERR_FILENO));
    Check(::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1));
  }
  ~FileActions() { ::posix_spawn_file_actions_destroy(&m_actions); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  [[nodiscard]] const posix_spawn_file_actions_t* Get() const { return &m_actions; }

 private:
  posix_spawn_file_actions_t m_actions{};
};

class SpawnAttributes {
 public:
  SpawnAttributes() {
    sigset_t none;
    sigset_t all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    Check(::posix_spawnattr_init(&m_attributes));
    ::posix_spawnattr_setpgroup(&m_attributes, 0);
    ::posix_spawnattr_setsigmask(&m_attributes, &none);
    ::posix_spawnattr_setsigdefault(&m_attributes, &all);
    ::posix_spawnattr_setflags(&m_attributes,
                               POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnAttributes() { ::posix_spawnattr_destroy(&m_attributes); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  [[nodiscard]] const posix_spawnattr_t* Get() const { return &m_attributes; }

 private:
  posix_spawnattr_t m_attributes{};
};

/// posix_spawn's signature is older than const.
char* Pointer(const std::string& text) {
  return const_cast<char*>(text.c_str());
}

}  // namespace

Spawned Spawn(const std::string& path, const std::string& folder,
              const std::vector<std::string>& environment) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) Check(errno);
  Spawned spawned;
  spawned.output.Reset(ends[0]);
  const FileDescriptor childEnd(ends[1]);
  if (::fcntl(spawned.output.Get(), F_SETFL, O_NONBLOCK) != 0) Check(errno);
  const FileActions actions(folder, childEnd.Get());
  const SpawnAttributes attributes;
  char* const arguments[] = {Pointer(path), nullptr};
  std::vector<char*> variables;
  for (const auto& variable : environment)
    variables.push_back(Pointer(variable));
  variables.push_back(nullptr);
  Check(::posix_spawn(&spawned.pid, path.c_str(), actions.Get(), attributes.Get(), arguments,
                      variables.data()));
  spawned.pidfd.Reset(::pidfd_open(spawned.pid, 0));
  if (!spawned.pidfd) {  // its end would go unnoticed
    const int error = errno;
    ::kill(-spawned.pid, SIGKILL);
    ::waitpid(spawned.pid, nullptr, 0);
    Check(error);
  }
  return spawned;
}

}  // namespace norvane::engine
