#pragma once

#include <chrono>
#include <functional>

namespace norvane::console::engine {

/// A call that the engine has not answered yet. It finishes in any case: with the answer, with the loss of
/// the engine, or with its time-out.
class PendingCall {
 public:
  virtual ~PendingCall() = default;
  /// Returns as soon as the call has finished, or after that time. Whether it has finished.
  virtual bool WaitFor(std::chrono::milliseconds time) = 0;
  /// Has `callback` run once the call has finished, on another thread; at once if it has finished already. It
  /// must not throw, nor refer to anything that goes when `CallWaiter::Wait` returns.
  virtual void OnFinished(std::function<void()> callback) = 0;
  /// Gives the call up, if it is one of those that may be: it finishes soon with an error. Whether it may be.
  /// For the thread that waits.
  virtual bool Cancel() = 0;
};

/// How a thread spends the time until its call is answered.
class CallWaiter {
 public:
  virtual ~CallWaiter() = default;
  /// Returns when the call has finished. Runs on the thread that made the call, and makes no other.
  virtual void Wait(PendingCall& call) noexcept = 0;
};

}  // namespace norvane::console::engine
