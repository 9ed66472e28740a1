#pragma once

#include <string>

namespace norvane::link {

/// Starts the engine program of `folder`, which detaches itself and serves that folder; an engine that serves
/// it already is as good. Returns when the program has gone to the background. Throws std::runtime_error. Any
/// thread.
void StartEngine(const std::string& folder);

}  // namespace norvane::link
