#include "settings/GatewaySettings.h"

#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace norvane::settings {
namespace {

TEST(SettingsGateway, IsReadFromTheConfigurationFile) {
  const tests::TempFolder folder;
  const auto file = tests::WriteFile(folder / "config.ini",
                                     "[gateway]\nurl=https://gw.example.org/scripts/sms.dll?[Call]\n"
                                     "sender=ops@example.org\n");
  const auto settings = ReadGatewaySettings(file);
  EXPECT_EQ(settings.PagerGatewayUrl, "https://gw.example.org/scripts/sms.dll?[Call]");
  EXPECT_EQ(settings.NotifyCopyAddress, "ops@example.org");
  EXPECT_EQ(FaultOf(settings), std::nullopt);
}

TEST(SettingsGateway, HasDefaultsThatCanBeUsed) {
  const tests::TempFolder folder;
  const auto settings = ReadGatewaySettings(folder / "missing.ini");
  EXPECT_TRUE(settings.PagerGatewayUrl.ends_with("/scripts/sms.dll?[Call]")) << settings.PagerGatewayUrl;
  EXPECT_NE(settings.NotifyCopyAddress, "");
  EXPECT_EQ(FaultOf(settings), std::nullopt);
}

TEST(SettingsGateway, RefusesAddressesThatMakeModesAmbiguous) {
  struct Row {
    const char* url;
    const char* fault;
  };
  const Row rows[] = {
      {"http://modem.example.org/sms.dll?[Call]", "must not hold the word \"mode\""},
      {"http://gw.example.org/x.dll?MoDe=[Call]", "must not hold the word \"mode\""},
      {"", "must begin with"},
      {"tel://", "must begin with"},
      {"gw.example.org/sms.dll?[Call]", "must begin with"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.url);
    const auto fault = FaultOf({row.url, "ops@example.org"});
    ASSERT_TRUE(fault);
    EXPECT_NE(fault->find(row.fault), std::string::npos) << *fault;
    EXPECT_NE(fault->find('"' + std::string(row.url) + '"'), std::string::npos) << *fault;
  }
}

}  // namespace
}  // namespace norvane::settings
