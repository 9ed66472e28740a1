#pragma once

#include <signal.h>

#include <thread>
#include <utility>

namespace norvane::platform {

/// Starts a thread with all signals blocked: the main thread handles those of the process, and a library that
/// writes to a closed connection must not raise SIGPIPE.
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
