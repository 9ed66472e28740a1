#include "engine/net/Deadline.h"

#include <algorithm>
#include <utility>

namespace norvane::engine {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {
/// Less isn't worth another wait.
constexpr milliseconds MinGiven{20};
constexpr int MaxGiven = 2;  // times the time
}  // namespace

Deadline::Deadline(EventLoop& loop, EventOwner& owner, std::function<void()> pass)
    : m_loop(loop), m_pass(std::move(pass)), m_timer(loop, owner, [this] { Look(); }) {}

void Deadline::Set(milliseconds time) {
  m_time = time;
  m_delayBefore = m_loop.OwnDelay();
  m_given = {};
  m_hasLostAll = m_isExhausted = false;
  m_until = m_loop.Now() + time;
  m_timer.Set(m_until);
}

void Deadline::Look() {
  if (m_loop.ServedUpTo() < m_until) return m_timer.Set(m_until);  // the answer may wait to be read
  const auto delay = m_loop.OwnDelay() - m_delayBefore;
  const auto more = std::min<nanoseconds>({delay, m_time, MaxGiven * m_time - m_given});
  m_hasLostAll = m_hasLostAll || delay >= m_time;
  m_isExhausted = delay > MinGiven && more <= nanoseconds{0};
  if (delay <= MinGiven || m_isExhausted) {
    const auto pass = m_pass;  // lives on when the call destroys this
    return pass();
  }
  m_delayBefore += delay;
  m_given += more;
  m_until = m_loop.Now() + more;
  m_timer.Set(m_until);
}

}  // namespace norvane::engine
