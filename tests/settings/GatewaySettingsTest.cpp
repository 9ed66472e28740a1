#include "settings/GatewaySettings.h"

#include <gtest/gtest.h>

#include "loopback/TempFolder.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::settings {
namespace {

using tests::Rows;

TEST(SettingsGateway, IsReadFromTheConfigurationFile) {
  const loopback::TempFolder folder;
  const auto file =
      tests::WriteFile(folder / "config.ini",
                       "[gateway]\nurl=https://gw.example.org/scripts/sms.dll?[Call]\n"
                       "sender=ops@example.org\nearlier=http://a.example.org/?  http://b.example.org/?\n");
  const auto settings = ReadGatewaySettings(file);
  EXPECT_EQ(settings.PagerGatewayUrl, "https://gw.example.org/scripts/sms.dll?[Call]");
  EXPECT_EQ(settings.NotifyCopyAddress, "ops@example.org");
  EXPECT_EQ(settings.EarlierUrls,
            (std::vector<std::string>{"http://a.example.org/?", "http://b.example.org/?"}));
  EXPECT_EQ(FaultOf(settings), std::nullopt);
}

TEST(SettingsGateway, HasDefaultsThatCanBeUsed) {
  const loopback::TempFolder folder;
  const auto settings = ReadGatewaySettings(folder / "missing.ini");
  EXPECT_TRUE(settings.PagerGatewayUrl.ends_with("/scripts/sms.dll?[Call]")) << settings.PagerGatewayUrl;
  EXPECT_NE(settings.NotifyCopyAddress, "");
  EXPECT_EQ(FaultOf(settings), std::nullopt);
}

TEST(SettingsGateway, RefusesAddressesThatMakeModesAmbiguous) {
  for (const auto& [url, reason] : Rows<std::string, const char*>{
           {"http://modem.example.org/sms.dll?[Call]", "must not contain \"mode\""},
           {"http://gw.example.org/x.dll?MoDe=[Call]", "must not contain \"mode\""},
           {"", "must begin with"},
           {"tel://", "must begin with"},
           {"gw.example.org/sms.dll?[Call]", "must begin with"},
       }) {
    const auto fault = FaultOf({url, "ops@example.org"}).value_or("none");
    EXPECT_NE(fault.find(reason), std::string::npos) << fault;
    EXPECT_NE(fault.find('"' + url + '"'), std::string::npos) << fault;
    const GatewaySettings good{"http://gw.example.org/?", "ops@example.org", {"http://a.example.org/?", url}};
    EXPECT_NE(FaultOf(good).value_or("none").find(reason), std::string::npos) << url;
  }
}

}  // namespace
}  // namespace norvane::settings
