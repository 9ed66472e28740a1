#pragma once

#include <optional>
#include <string>
#include <vector>

namespace norvane::settings {

/// What notifications need besides a monitor's own settings. Read once at the start, so that what was stored
/// in a run is understood in the same run.
struct GatewaySettings {
  /// Address of the internet pager gateway up to and including the head of the query: what is asked follows
  /// at once ("cmd=10").
  std::string PagerGatewayUrl;
  /// The mail address that every e-mail notification carries behind its server.
  std::string NotifyCopyAddress;
  /// Addresses that `PagerGatewayUrl` had before: stored modes may have them.
  std::vector<std::string> EarlierUrls = {};
};

/// From the entries "url", "sender" and "earlier" in section "gateway" of `configFile`; of the first two what
/// is missing there has the value set when the program was built. Blanks separate earlier addresses.
[[nodiscard]] GatewaySettings ReadGatewaySettings(const std::string& configFile);

/// Why stored notification modes would be ambiguous with these settings, as a sentence for the user; nothing
/// if they are not. The program does not start with ambiguous ones.
[[nodiscard]] std::optional<std::string> FaultOf(const GatewaySettings& settings);

}  // namespace norvane::settings
