#include "tests/support/CallRecorder.h"

namespace norvane::tests {

void CallRecorder::OnCall(std::string_view operation, const std::string& call) {
  if (onCall) onCall(call);
  m_calls.push_back(call);
  if (const auto hook = m_hooks.find(operation); hook != m_hooks.end()) {
    const auto copy = hook->second;  // it may set another
    copy();
  }
  const auto found = m_failures.find(operation);
  if (found == m_failures.end() || --found->second.callsLeft > 0) return;
  const auto error = found->second.error;
  if (found->second.once) m_failures.erase(found);
  throw console::engine::EngineError(error);
}

}  // namespace norvane::tests
