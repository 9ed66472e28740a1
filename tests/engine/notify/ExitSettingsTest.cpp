#include "engine/notify/ExitSettings.h"

#include <gtest/gtest.h>

namespace norvane::engine {
namespace {

TEST(ExitSettings, SaysWhatIsWrongAndKeepsWhatIsUsable) {
  const std::string url = "https://hook/secret";
  const struct {
    const char* section;
    std::vector<platform::IniFile::Entry> entries;
    const char* wrong;
    bool isKept;
  } rows[] = {
      {"Webhook chat",
       {{"URL", url}, {"events", "outage_ends,conditions"}, {"header_file", "token"}},
       "",
       true},
      {"webhook chat", {}, "has no url", false},
      {"webhook chat", {{"url", "ftp://secret"}}, "url is not an http or https URL", false},
      {"webhook chat", {{"url", "https://"}}, "url is not an http or https URL", false},
      {"webhook chat", {{"url", url}, {"ulr", url}}, "unknown key ulr", true},
      {"webhook chat",
       {{"url", url}, {"events", "all"}},
       "events=all: all is not outage_begins, outage_ends or conditions",
       true},
      {"webhook ", {{"url", url}}, "has no name", false},
      {"ALERTMANAGER", {{"urls", "http://a:9093, http://b:9093"}}, "", true},
      {"alertmanager", {{"urls", ""}}, "has no urls", false},
      {"alertmanager", {{"urls", "a:9093"}}, "urls has something that is not an http or https URL", false},
      {"heartbeat", {{"url", url}, {"every", "5s"}}, "", true},
      {"heartbeat", {{"url", url}, {"every", "4"}}, "every=4 is not a time from 5s, using 60s", true},
      {"heartbeat", {{"every", "4m"}}, "has no url", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.section) + " " + row.wrong);
    ASSERT_TRUE(ExitSettings::IsExit(row.section));
    ExitSettings settings;
    const auto wrong = settings.Add({row.section, row.entries}, "/folder");
    EXPECT_EQ(wrong, *row.wrong == '\0' ? "" : "[" + std::string(row.section) + "] " + row.wrong);
    EXPECT_EQ(!settings.webhooks.empty() || !settings.alertmanagers.empty() || !settings.heartbeat.empty(),
              row.isKept);
  }
  ExitSettings settings;
  EXPECT_EQ(settings.Add({"webhook chat", rows[0].entries}, "/folder"), "");
  const auto& chat = settings.webhooks.at("webhook chat");
  EXPECT_EQ(chat.url, url);
  EXPECT_EQ(chat.headerFile, "/folder/token");
  EXPECT_TRUE(!chat.begins && chat.ends && chat.conditions);
  EXPECT_EQ(settings.Add({"alertmanager", rows[7].entries}, ""), "");
  EXPECT_EQ(settings.alertmanagers, (std::vector<std::string>{"http://a:9093", "http://b:9093"}));
  EXPECT_FALSE(ExitSettings::IsExit("webhooks"));
}

}  // namespace
}  // namespace norvane::engine
