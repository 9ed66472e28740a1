#include "console/shared/MonitorChange.h"

#include "console/engine/EngineError.h"
#include "console/shared/MainBas.h"

namespace norvane::console::shared {

void ChangeMonitor(MainBas& bas, const std::string& fullName, const std::function<void()>& call,
                   const std::function<bool(const engine::MonitorPtr& now)>& isDone) {
  try {
    call();
  } catch (const engine::EngineError& failure) {
    if (failure.Code() != engine::EngineErrorCode::TimedOut) throw;
    if (!isDone(bas.Engine.Look(fullName)))
      throw engine::EngineError(
          failure.Code(), std::string(failure.what()) + ". If it does this later, the tree will show it");
  }
}

}  // namespace norvane::console::shared
