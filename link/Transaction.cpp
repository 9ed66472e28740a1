#include "link/Transaction.h"

#include <utility>

#include "console/engine/EngineError.h"
#include "console/engine/Limits.h"
#include "link/Answer.h"

namespace norvane::link {

namespace ce = console::engine;
using ce::EngineError;
using ce::EngineErrorCode;

namespace {
struct Ended {
  std::exception_ptr error;
};
}  // namespace

kj::Promise<void> Transaction::add(AddContext context) {
  return AnswerAtOnce(m_service, context, [this](auto params, auto&) {
    if (m_isBroken) throw EngineError(EngineErrorCode::Refused, "an earlier part was refused");
    m_isBroken = true;
    for (const auto change : params.getChanges())
      Add(change);
    m_isBroken = false;
  });
}

void Transaction::Add(wire::MonitorChange::Reader from) {
  if (m_changes.size() >= 2 * ce::MaxMonitors)
    throw EngineError(EngineErrorCode::Full, "too many changes at once");
  RequireRoom(from.getName().size());
  // Of an unknown value nothing can be done.
  ce::MonitorChange change{
      static_cast<ce::MonitorChange::What>(from.getWhat()), ToString(from.getName()), {}};
  if (from.getWhat() > wire::MonitorChange::What::REMOVE)
    throw EngineError(EngineErrorCode::Invalid, "unknown kind of change");
  change.values.reserve(from.getValues().size());
  for (const auto pair : from.getValues()) {
    RequireRoom(pair.getKey().size() + pair.getValue().size() + sizeof change.values.front());
    change.values.emplace_back(ToString(pair.getKey()), ToString(pair.getValue()));
  }
  m_changes.push_back(std::move(change));
}

void Transaction::RequireRoom(std::size_t bytes) {
  m_bytes += bytes;
  if (m_bytes > MaxBytes) throw EngineError(EngineErrorCode::Full, "more than 128 MiB of changes at once");
}

kj::Promise<void> Transaction::commit(CommitContext context) {
  context.allowCancellation();
  auto ended = kj::newPromiseAndFulfiller<Ended>();
  const auto fulfiller = std::make_shared<kj::Own<kj::PromiseFulfiller<Ended>>>(kj::mv(ended.fulfiller));
  const auto end = [fulfiller](std::exception_ptr error) { (*fulfiller)->fulfill({std::move(error)}); };
  try {
    if (std::exchange(m_isBroken, true)) throw EngineError(EngineErrorCode::Refused, "nothing to commit");
    const auto changes = std::exchange(m_changes, {});
    auto lines = m_log.Describe(changes);
    m_service.Change(changes, context.getParams().getBasedOn(), end);
    m_log.WriteAll(std::move(lines));
  } catch (...) {
    end(std::current_exception());
  }
  return ended.promise.then([this, context](const Ended& result) mutable {
    WriteAnswer(m_service, context.getResults().initAnswer(), result.error);
  });
}

}  // namespace norvane::link
