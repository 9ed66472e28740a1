#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace norvane::console::shared {
class Dialogs;
}
namespace norvane::platform {
class Registry;
}

// The system information tool, found through the registry.
namespace norvane::support {

/// Reads a value of at most 1024 bytes: text as it is, a 32-bit number as decimal text. A value of another
/// type leaves `KeyVal` as it was. False, and `KeyVal` empty, if key or value can't be read.
[[nodiscard]] bool GetKeyValue(const platform::Registry& registry, std::uint32_t KeyRoot,
                               const std::string& KeyName, const std::string& SubKeyRef, std::string& KeyVal);

/// Starts a program by its path; throws if it can't be started.
using StartProgram = std::function<void(const std::string& path)>;

/// Starts the tool. Shows a box if there is none, or if it can't be started.
void StartSysInfo(const platform::Registry& registry, const StartProgram& start,
                  console::shared::Dialogs& dialogs);

/// In a window of its own. Throws std::runtime_error.
void StartDetached(const std::string& path);

}  // namespace norvane::support
