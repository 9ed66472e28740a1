#pragma once

#include <Qt>

#include "console/engine/MonitorKeys.h"

namespace norvane::console {

/// By this role tree and list give a monitor's full name.
inline constexpr int FullNameRole = Qt::UserRole;

/// What is known of a monitor's last check.
enum class RowState { Idle, Good, Failed };

/// `get(key)` gives an attribute. The result is asked for of running monitors only.
template <class Get>
[[nodiscard]] RowState ReadRowState(const Get& get) {
  if (get(engine::keys::Status) != engine::StatusEnable) return RowState::Idle;
  return get(engine::keys::Result) == engine::ResultOk ? RowState::Good : RowState::Failed;
}

}  // namespace norvane::console
