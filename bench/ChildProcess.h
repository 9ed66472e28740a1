#pragma once

#include <sys/types.h>

#include <functional>

namespace norvane::bench {

/// A function in a process of its own, killed with this object or with us.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<void()>& run);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void Signal(int signal) const;

 private:
  pid_t m_process;
};

}  // namespace norvane::bench
