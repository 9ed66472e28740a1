#include "console/StatusPoll.h"

#include "console/StatusModel.h"
#include "console/shared/MainBas.h"

namespace norvane::console {

namespace {
/// False if the service is lost. A monitor that another program has just removed can't be read.
bool Resolves(shared::MainBas& bas, engine::ServiceRef& ref) {
  try {
    bas.Monitors->Resolve(ref);
    return true;
  } catch (const engine::EngineError& failure) {
    return failure.Code() == engine::EngineErrorCode::NotFound;
  }
}

RowState ReadState(engine::ServiceRef& ref) {
  try {
    const auto item = ref.GetMonitor();
    return ReadRowState([&item](std::string_view key) { return item->GetAttr(key); });
  } catch (const engine::EngineError&) {
    return RowState::Idle;
  }
}
}  // namespace

bool PollRows(shared::MainBas& bas, StatusModel& list) {
  std::shared_ptr<engine::ServiceRef> ref;  // the shared one belongs to the commands
  const int count = list.rowCount();
  for (int row = 0; row < count; ++row) {
    if (!ref) ref = bas.Engine.NewServiceRef();
    ref->SetMonitorName(list.Row(row).name);
    if (!Resolves(bas, *ref)) return false;
    list.SetState(row, ReadState(*ref));
  }
  list.ShowStates();
  return true;
}

}  // namespace norvane::console
