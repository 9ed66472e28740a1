#include "bench/ChildProcess.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace norvane::bench {

ChildProcess::ChildProcess(const std::function<void()>& run) : m_process(::fork()) {
  if (m_process < 0) throw std::runtime_error("no process");
  if (m_process > 0) return;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    run();
  } catch (const std::exception&) {
    ::_exit(1);
  }
  ::_exit(0);
}

ChildProcess::~ChildProcess() {
  Signal(SIGKILL);
  ::waitpid(m_process, nullptr, 0);
}

void ChildProcess::Signal(int signal) const {
  ::kill(m_process, signal);
}

}  // namespace norvane::bench
