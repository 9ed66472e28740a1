#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/IniFile.h"

namespace norvane::engine {

/// What a section "[webhook NAME]" of config.ini says.
struct WebhookSettings {
  std::string url{};
  std::string headerFile{};  ///< path; empty: none
  bool begins = true, ends = true, conditions = false;
};
/// By exit: "webhook NAME".
using Webhooks = std::map<std::string, WebhookSettings, std::less<>>;

/// The exits of config.ini, which all monitors share. URLs may hold secrets: none goes into a log.
struct ExitSettings {
  Webhooks webhooks{};
  std::vector<std::string> alertmanagers{};  ///< URL of each one's web interface
  std::string heartbeat{};                   ///< URL; empty: none
  std::chrono::seconds heartbeatPeriod{60};

  /// Whether a section of config.ini is for `Add`.
  [[nodiscard]] static bool IsExit(std::string_view section);
  /// Relative paths are below `folder`. Gives what is wrong with the section, for a log; empty if nothing is.
  /// An exit without a usable URL is none.
  std::string Add(const platform::IniFile::Section& section, const std::string& folder);
};

}  // namespace norvane::engine
