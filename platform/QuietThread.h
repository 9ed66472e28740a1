#pragma once

#include <signal.h>

#include <thread>
#include <utility>

namespace norvane::platform {

/// Starts a thread with all signals blocked: those of the process are the main thread's, and a peer that is
/// gone shall not raise SIGPIPE in a library.
template <class Run>
[[nodiscard]] std::thread StartQuietThread(Run&& run) {
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  struct Restore {
    const sigset_t& mask;
    ~Restore() { ::pthread_sigmask(SIG_SETMASK, &mask, nullptr); }
  } const restore{before};
  return std::thread(std::forward<Run>(run));
}

}  // namespace norvane::platform
