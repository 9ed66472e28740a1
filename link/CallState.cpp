#include "link/CallState.h"

namespace norvane::link {

bool CallState::WaitFor(std::chrono::milliseconds time) {
  std::unique_lock lock(m_mutex);
  return m_changed.wait_for(lock, time, [this] { return m_finished; });
}

void CallState::OnFinished(std::function<void()> callback) {
  {
    const std::lock_guard lock(m_mutex);
    if (!m_finished) {
      m_onFinished = std::move(callback);
      return;
    }
  }
  callback();
}

bool CallState::Cancel() {
  if (m_cancel) m_cancel();
  return m_cancel != nullptr;
}

void CallState::Fail(std::exception_ptr error) {
  const std::lock_guard lock(m_mutex);
  if (!m_error) m_error = std::move(error);
}

void CallState::Finish() {
  std::function<void()> callback;
  {
    const std::lock_guard lock(m_mutex);
    m_finished = true;
    callback = std::move(m_onFinished);
    m_changed.notify_all();
  }
  if (callback) callback();
}

void CallState::Result() {
  std::unique_lock lock(m_mutex);
  m_changed.wait(lock, [this] { return m_finished; });
  if (m_error) std::rethrow_exception(m_error);
}

void BlockingWaiter::Wait(console::engine::PendingCall& call) noexcept {
  while (!call.WaitFor(std::chrono::hours(1))) {
  }
}

}  // namespace norvane::link
