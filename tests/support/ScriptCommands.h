#pragma once

#include <string>

namespace norvane::tests {

class Script;

/// Carries out "click WebMonitor Of a". False if it only prepares, so that it has no trace. Throws
/// std::exception if it cannot be done.
bool RunCommand(Script& script, const std::string& command);

}  // namespace norvane::tests
