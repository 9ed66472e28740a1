#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "console/engine/Engine.h"
#include "console/engine/EngineError.h"

namespace norvane::tests {

/// Records every operation of the engine's objects in order, and makes chosen ones fail. `operation` is the
/// call's text up to the parenthesis: "SetAttr".
class CallRecorder : public console::engine::CallObserver {
 public:
  [[nodiscard]] const std::vector<std::string>& Calls() const { return m_calls; }
  /// The calls so far; the record starts anew.
  [[nodiscard]] std::vector<std::string> TakeCalls() { return std::exchange(m_calls, {}); }

  /// Fails the next call of the operation, or the `nth` from now on.
  void FailOnce(std::string_view operation, console::engine::EngineError error, int nth = 1) {
    m_failures.insert_or_assign(std::string(operation), Failure{std::move(error), nth, true});
  }
  void FailAlways(std::string_view operation, console::engine::EngineError error) {
    m_failures.insert_or_assign(std::string(operation), Failure{std::move(error), 1, false});
  }
  /// Undoes both.
  void Mend(std::string_view operation) { m_failures.erase(std::string(operation)); }
  /// Runs inside every such call, after it was recorded and before it takes effect or fails.
  void During(std::string_view operation, std::function<void()> hook) {
    m_hooks.insert_or_assign(std::string(operation), std::move(hook));
  }

  /// Hears of each call before it is recorded.
  std::function<void(const std::string& call)> onCall;

  void OnCall(std::string_view operation, const std::string& call) override;

 private:
  struct Failure {
    console::engine::EngineError error;
    int callsLeft;
    bool once;
  };
  std::vector<std::string> m_calls;
  std::map<std::string, Failure, std::less<>> m_failures;
  std::map<std::string, std::function<void()>, std::less<>> m_hooks;
};

}  // namespace norvane::tests
