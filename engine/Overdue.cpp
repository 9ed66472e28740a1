#include "engine/Overdue.h"

#include "engine/model/CheckTimes.h"

namespace norvane::engine {

std::string OverdueProblem(const MonitorTable& table, Moment latest) {
  const Monitor* first = nullptr;
  std::size_t more = 0;
  for (const auto& [id, monitor] : table.All()) {
    if (monitor.overdueAt > latest || !monitor.Running() ||
        monitor.overdueAt + CheckTimes::Of(*monitor.attributes).timeout > latest)
      continue;
    if (first == nullptr)
      first = &monitor;
    else
      ++more;
  }
  if (first == nullptr) return {};
  return "no result of " + first->name + " for three intervals" +
         (more == 0 ? "" : " (and of " + std::to_string(more) + " more)");
}

}  // namespace norvane::engine
