#include "text/AttributeRules.h"

#include <gtest/gtest.h>

#include "console/engine/Limits.h"

namespace norvane::text {
namespace {

namespace ce = console::engine;

struct Row {
  std::string_view name, key, value;
  std::string_view mistake;  ///< its beginning, or what it is about; empty: none
};

/// What the engine acts on as it is written is no mistake, anything else is one that names what it would do.
TEST(AttributeRules, FindWhatTheEngineWouldIgnoreOrClamp) {
  const std::string web(ce::TypeWeb), pop3(ce::TypePop3);
  const std::string tooLong(ce::MaxValueSize + 1, 'x');
  const Row rows[] = {
      {web, "Monitor_Parameter", "https://shop.example/", ""},
      {web, "Monitor_Parameter", "shop.example", "did you mean \"https://shop.example\"?"},
      {web, "Monitor_Parameter", "ftp://shop.example", "not an http or https URL"},
      {pop3, "Monitor_Parameter", "mail.example:110", ""},
      {web, "Monitor_Paramter", "x", "unknown key \"Monitor_Paramter\"; did you mean \"Monitor_Parameter\"?"},
      {web, "monitor_interval (s)", "30", "did you mean \"Monitor_InterVal (s)\"?"},
      {web, "colour", "red", "unknown key \"colour\""},
      {web, "MonitorExt_PopPass", "x", "is for a Pop3Monitor only"},
      {pop3, "MonitorExt_PopPass", "x", ""},
      {"EchoMonitor", "MonitorExt_PopPass", "x", ""},
      {web, "Monitor_InterVal (s)", "0.5", ""},
      {web, "Monitor_InterVal (s)", "0.4", "too small; the engine would use 0.5"},
      {web, "Monitor_InterVal (s)", "2678401", "too large; the engine would use 2678400"},
      {web, "Monitor_InterVal (s)", "abc", "not a number; the engine would use 60"},
      {web, "Monitor_InterVal (s)", "0", "the engine would use 60"},
      {web, "Monitor_Timeout (s)", "0", ""},
      {web, "Monitor_Timeout (s)", "-1", "the engine would use 30"},
      {web, "Monitor_MaxFailTimes", "0", ""},
      {web, "MonitorExt_SuccessFlag", "", ""},
      {web, "MonitorExt_SuccessFlag", "str:Add", ""},
      {web, "MonitorExt_SuccessFlag", "Add", "did you mean \"STR:Add\"?"},
      {web, "MonitorExt_SuccessFlag", "STR:", "would ignore it"},
      {web, "MonitorExt_SuccessFlag", "SIZE:big", "\"big\" is not a number"},
      {web, "Monitor_Notify Mode", "smtp://mail.example;a@example", ""},
      {web, "Monitor_Notify Mode", "SMTP://mail.example", "lacks the mail server"},
      {web, "Monitor_Notify Mode", "mail", "is neither SMTP://"},
      {web, "Status", "Enabled", "did you mean \"Enable\"?"},
      {web, "Status", "Enable", ""},
      {web, "Monitor_Result", "Ok", "is the engine's"},
      {web, "Monitor_Parent", "router", "full name"},
      {web, "Monitor_Parent", "WebMonitor Of router", ""},
      {web, "Monitor_Notify Msg", "\xff", "not UTF-8"},
      {web, "Monitor_Command", "\xff", ""},
      {web, "Monitor_Command", tooLong, "longer than 1 MiB"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.key).append(" = ").append(row.value.substr(0, 40)));
    const auto mistake = AttributeMistake(row.name, row.key, row.value).value_or("");
    EXPECT_EQ(mistake.empty(), row.mistake.empty()) << mistake;
    EXPECT_NE(mistake.find(row.mistake), std::string::npos) << mistake;
  }
}

TEST(AttributeRules, FindNamesThatAreNone) {
  const std::pair<std::string, std::string_view> rows[] = {
      {"WebMonitor Of shop", ""},
      {"WebMonitor Of a Of b", ""},
      {"WebMontor Of shop", "unknown type \"WebMontor\"; did you mean \"WebMonitor\"?"},
      {"Ping Of shop", "known are WebMonitor, Pop3Monitor, SmtpMonitor"},
      {"shop", "TYPE Of NAME"},
      {"WebMonitor Of ", "TYPE Of NAME"},
      {"WebMonitor Of a\tb", "control character in the name \"WebMonitor Of a\\x09b\""},
      {"WebMonitor Of " + std::string(ce::MaxNameSize, 'x'), "too long"},
  };
  for (const auto& [name, expected] : rows) {
    const auto mistake = NameMistake(name).value_or("");
    EXPECT_EQ(mistake.empty(), expected.empty()) << name << ": " << mistake;
    EXPECT_NE(mistake.find(expected), std::string::npos) << mistake;
  }
  const std::string_view types[] = {"EchoMonitor"};
  EXPECT_FALSE(NameMistake("EchoMonitor Of lab", types));
}

}  // namespace
}  // namespace norvane::text
