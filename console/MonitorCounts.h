#pragma once

#include <QLabel>

#include "console/engine/Engine.h"

namespace norvane::console {

/// How many of the monitors in the list are failing and how many stopped; running ones count as their rows
/// show them.
[[nodiscard]] QString CountsText(const engine::MonitorSnapshot& monitors);

/// Those of now, without asking the engine.
void ShowCounts(QLabel& label, engine::EngineFactory& engine);

}  // namespace norvane::console
