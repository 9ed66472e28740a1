#pragma once

#include <string>

namespace norvane::link {
class EngineClient;
}

namespace norvane::demo {

class DemoFolder;
struct DemoServers;

inline constexpr char Shop[] = "WebMonitor Of shop";
inline constexpr char Mailbox[] = "Pop3Monitor Of mailbox";
inline constexpr char Relay[] = "SmtpMonitor Of relay";
/// Not running.
inline constexpr char Archive[] = "WebMonitor Of archive";

/// Writes the folder's configuration file and the commands that its monitors start.
void WriteFiles(const DemoFolder& folder, const DemoServers& servers);

/// Gives the engine a handful of monitors of all types, most of them running, and has them saved.
void AddMonitors(link::EngineClient& engine, const DemoFolder& folder, const DemoServers& servers);

}  // namespace norvane::demo
