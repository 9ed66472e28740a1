#include "tests/support/Terminal.h"

#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace norvane::tests {

Terminal::Terminal(const std::vector<std::string>& command, unsigned short columns, unsigned short rows) {
  std::vector<char*> words;
  for (const auto& word : command)
    words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  const winsize size{rows, columns, 0, 0};
  int master = -1;
  m_pid = ::forkpty(&master, nullptr, nullptr, &size);
  if (m_pid == 0) {
    ::setenv("TERM", "xterm", 1);
    ::unsetenv("NO_COLOR");
    ::execv(words[0], words.data());
    ::_exit(127);
  }
  if (m_pid < 0) throw std::runtime_error("no terminal");
  m_master = platform::FileDescriptor(master);
}

Terminal::~Terminal() {
  if (m_pid < 0) return;
  ::kill(m_pid, SIGKILL);
  ::waitpid(m_pid, nullptr, 0);
}

void Terminal::Resize(unsigned short columns, unsigned short rows) const {
  const winsize size{rows, columns, 0, 0};
  if (::ioctl(m_master.Get(), TIOCSWINSZ, &size) != 0) throw std::runtime_error("cannot resize the terminal");
}

void Terminal::Write(const std::string& keys) const {
  if (::write(m_master.Get(), keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
    throw std::runtime_error("cannot write to the terminal");
}

bool Terminal::Read() {
  char text[4096];
  const auto size = ::read(m_master.Get(), text, sizeof text);  // fails once nobody has the other end
  if (size > 0) m_written.append(text, static_cast<std::size_t>(size));
  return size > 0;
}

void Terminal::Await(const std::string& text) {
  std::size_t at = 0;
  while ((at = m_written.find(text, m_awaited)) == std::string::npos)
    if (!Read()) throw std::runtime_error("not written: " + text + "; but: " + m_written);
  m_awaited = at + text.size();
}

int Terminal::Wait() {
  while (Read())
    continue;
  int status = 0;
  ::waitpid(std::exchange(m_pid, -1), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace norvane::tests
