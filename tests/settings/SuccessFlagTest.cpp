#include "settings/SuccessFlag.h"

#include <gtest/gtest.h>

namespace norvane::settings {
namespace {

TEST(SettingsSuccessFlag, ReadsAndWrites) {
  struct Row {
    const char* stored;
    SuccessFlag flag;
    const char* storedAgain;
  };
  const Row rows[] = {
      {"SIZE:120", {SuccessFlag::BySize, "120"}, "SIZE:120"},
      {"size:120", {SuccessFlag::BySize, "120"}, "SIZE:120"},
      {"SIZE:", {SuccessFlag::BySize, ""}, "SIZE:"},
      {"Str:Hello World", {SuccessFlag::ByString, "Hello World"}, "STR:Hello World"},
      {"STR:SIZE:1", {SuccessFlag::ByString, "SIZE:1"}, "STR:SIZE:1"},
      {"STR: \xc3\xa4 ", {SuccessFlag::ByString, " \xc3\xa4 "}, "STR: \xc3\xa4 "},
      {"SUM:42", {SuccessFlag::BySummation, "42"}, "SUM:42"},
      {"sum:", {SuccessFlag::BySummation, ""}, "SUM:"},
      {"", {}, "SUM:"},
      {"SIZE", {}, "SUM:"},
      {" SIZE:1", {}, "SUM:"},
      {"LEN:1", {}, "SUM:"},
      {"\xc5\xbfUM:1", {}, "SUM:"},  // a long s, whose capital is S
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.stored);
    const auto flag = ParseSuccessFlag(row.stored);
    EXPECT_EQ(flag.option, row.flag.option);
    EXPECT_EQ(flag.parameter, row.flag.parameter);
    EXPECT_EQ(FormatSuccessFlag(flag), row.storedAgain);
  }
}

}  // namespace
}  // namespace norvane::settings
