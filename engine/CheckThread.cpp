#include "engine/CheckThread.h"

#include <utility>

namespace norvane::engine {

CheckThread::CheckThread(LoopsShared& shared, std::size_t maxInFlight)
    : LoopThread(shared),
      m_checks(Context(), shared.options.types, maxInFlight,
               {[this](CheckEnded report) { Collect(std::move(report)); },
                [this](const ReleasedMonitor& monitor) { Collect(monitor); }}) {
  Begin();
}

}  // namespace norvane::engine
