#pragma once

#include <condition_variable>
#include <exception>
#include <mutex>

#include "console/engine/CallWaiter.h"

namespace norvane::link {

/// One call, shared by the thread that waits for it and the link's thread, which finishes it.
class CallState final : public console::engine::PendingCall {
 public:
  bool WaitFor(std::chrono::milliseconds time) override;
  void OnFinished(std::function<void()> callback) override;
  bool Cancel() override;

  /// The thread that waits: `cancel` is what `Cancel` does.
  void AllowCancel(std::function<void()> cancel) { m_cancel = std::move(cancel); }

  /// The link's thread: the first error is kept.
  void Fail(std::exception_ptr error);
  /// The link's thread, once.
  void Finish();

  /// Waits for the end, and throws the error if there is one.
  void Result();

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_finished = false;
  std::exception_ptr m_error;
  std::function<void()> m_onFinished;
  std::function<void()> m_cancel;
};

/// Does nothing else meanwhile.
class BlockingWaiter final : public console::engine::CallWaiter {
 public:
  void Wait(console::engine::PendingCall& call) noexcept override;
};

}  // namespace norvane::link
