// Session: what became of a monitor.

#include <algorithm>
#include <cassert>

#include "link/Answer.h"
#include "link/HistoryWire.h"
#include "link/Session.h"

namespace norvane::link {

namespace ce = console::engine;

namespace {
struct Told {
  std::exception_ptr error;
  ce::MonitorHistory history;
};

/// What is beyond the clock stands for its end.
ce::HistoryQuery::Time InClock(std::int64_t milliseconds) {
  static const auto last = ToMilliseconds(ce::HistoryQuery::Time::max());
  return ToTime(std::clamp<std::int64_t>(milliseconds, 0, last));
}
}  // namespace

kj::Promise<void> Session::history(HistoryContext context) {
  assert(m_thread.IsInside());
  context.allowCancellation();
  auto told = kj::newPromiseAndFulfiller<Told>();
  const auto fulfiller = std::make_shared<kj::Own<kj::PromiseFulfiller<Told>>>(kj::mv(told.fulfiller));
  const auto end = [fulfiller](std::exception_ptr error, ce::MonitorHistory history) {
    (*fulfiller)->fulfill({std::move(error), std::move(history)});
  };
  const auto params = context.getParams();
  try {
    m_service.ReadHistory(
        {ToString(params.getMonitor()), InClock(params.getSince()), InClock(params.getUntil()),
         std::chrono::seconds(params.getStepSeconds()), params.getHasPoints()},
        end);
  } catch (...) {
    end(std::current_exception(), {});
  }
  return told.promise.then([this, context](const Told& result) mutable {
    norvane::link::WriteAnswer(m_service, context.getResults().initAnswer(), result.error);
    if (!result.error) WriteHistory(result.history, context.getResults().initHistory());
  });
}

}  // namespace norvane::link
