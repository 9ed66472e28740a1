#include "settings/GatewaySettings.h"

#include <iterator>
#include <sstream>

#include "platform/IniFile.h"
#include "settings/Text.h"

namespace norvane::settings {
namespace {
constexpr const char* Section = "gateway";

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

std::optional<std::string> FaultOfUrl(const char* key, const std::string& address) {
  const auto fault = [&](const std::string& why) {
    return std::string("The address of the pager gateway (config.ini, section \"gateway\", \"") + key +
           "\") " + why + ": \"" + address + '"';
  };
  const auto url = Lower(address);
  // The parser knows an internet call by this address, and finds the pager type behind the first "mode".
  if (!url.starts_with("http://") && !url.starts_with("https://"))
    return fault("must begin with \"http://\" or \"https://\"");
  if (Position(url, "mode") != 0) return fault("must not contain \"mode\"");
  return std::nullopt;
}
}  // namespace

GatewaySettings ReadGatewaySettings(const std::string& configFile) {
  return {platform::IniValue(Section, "url", NORVANE_PAGER_GATEWAY_URL, configFile),
          platform::IniValue(Section, "sender", NORVANE_NOTIFY_COPY_ADDRESS, configFile),
          Words(platform::IniValue(Section, "earlier", "", configFile))};
}

std::optional<std::string> FaultOf(const GatewaySettings& settings) {
  auto fault = FaultOfUrl("url", settings.PagerGatewayUrl);
  for (const auto& url : settings.EarlierUrls)
    if (!fault) fault = FaultOfUrl("earlier", url);
  return fault;
}

}  // namespace norvane::settings
