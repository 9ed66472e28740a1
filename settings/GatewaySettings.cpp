#include "settings/GatewaySettings.h"

#include "platform/IniFile.h"
#include "settings/Text.h"

namespace norvane::settings {
namespace {
constexpr const char* Section = "gateway";
}  // namespace

GatewaySettings ReadGatewaySettings(const std::string& configFile) {
  return {platform::IniValue(Section, "url", NORVANE_PAGER_GATEWAY_URL, configFile),
          platform::IniValue(Section, "sender", NORVANE_NOTIFY_COPY_ADDRESS, configFile)};
}

std::optional<std::string> FaultOf(const GatewaySettings& settings) {
  const auto fault = [&](const std::string& why) {
    return "The address of the pager gateway (config.ini, section \"gateway\", \"url\") " + why + ": \"" +
           settings.PagerGatewayUrl + '"';
  };
  const auto url = Lower(settings.PagerGatewayUrl);
  // The parser knows an internet call by this address, and finds the pager type behind the first "mode".
  if (!url.starts_with("http://") && !url.starts_with("https://"))
    return fault("must begin with \"http://\" or \"https://\"");
  if (Position(url, "mode") != 0) return fault("must not contain \"mode\"");
  return std::nullopt;
}

}  // namespace norvane::settings
