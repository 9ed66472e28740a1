#pragma once

#include <string>
#include <string_view>

namespace norvane::platform {

/// What lies in an application folder, by its path within it.
namespace files {
inline constexpr std::string_view EngineData = "NorvaneEngine.dat";
inline constexpr std::string_view EngineState = "NorvaneEngine.state";
inline constexpr std::string_view EngineJournal = "NorvaneEngine.journal";
inline constexpr std::string_view History = "NorvaneHistory.db";
inline constexpr std::string_view EngineLock = "NorvaneEngine.lock";
inline constexpr std::string_view EngineSocket = "NorvaneEngine.sock";
inline constexpr std::string_view ConsoleLock = "NorvaneConsole.lock";
inline constexpr std::string_view ConsoleSocket = "NorvaneConsole.sock";
inline constexpr std::string_view TrayLock = "NorvaneTray.lock";
inline constexpr std::string_view Config = "config.ini";
inline constexpr std::string_view Help = "help.htm";
inline constexpr std::string_view LogFolder = "log";
inline constexpr std::string_view EngineLog = "log/engine.log";
inline constexpr std::string_view ChangeLog = "log/changes.log";
inline constexpr std::string_view CommandsLog = "log/commands.log";
inline constexpr std::string_view MonitorLog = "log/NorvaneLog%d%m%y.log";  ///< one a day
}  // namespace files

[[nodiscard]] inline std::string PathIn(const std::string& folder, std::string_view name) {
  return (folder + '/').append(name);
}

}  // namespace norvane::platform
