#pragma once

#include <string>

#include "engine/model/MonitorTable.h"
#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// What is to be said of running monitors that were already overdue at `latest`, by more than a check may
/// take; empty if there are none.
[[nodiscard]] std::string OverdueProblem(const MonitorTable& table, Moment latest);

}  // namespace norvane::engine
