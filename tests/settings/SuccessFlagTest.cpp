#include "settings/SuccessFlag.h"

#include <gtest/gtest.h>

#include "tests/support/Rows.h"

namespace norvane::settings {
namespace {

using tests::Rows;

TEST(SettingsSuccessFlag, ReadsAndWrites) {
  for (const auto& [stored, option, parameter, storedAgain] :
       Rows<const char*, int, const char*, const char*>{
           {"SIZE:120", SuccessFlag::BySize, "120", "SIZE:120"},
           {"size:120", SuccessFlag::BySize, "120", "SIZE:120"},
           {"SIZE:", SuccessFlag::BySize, "", "SIZE:"},
           {"Str:Hello World", SuccessFlag::ByString, "Hello World", "STR:Hello World"},
           {"STR:SIZE:1", SuccessFlag::ByString, "SIZE:1", "STR:SIZE:1"},
           {"STR: \xc3\xa4 ", SuccessFlag::ByString, " \xc3\xa4 ", "STR: \xc3\xa4 "},
           {"SUM:42", SuccessFlag::BySummation, "42", "SUM:42"},
           {"sum:", SuccessFlag::BySummation, "", "SUM:"},
           {"", SuccessFlag::None, "", "SUM:"},
           {"SIZE", SuccessFlag::None, "", "SUM:"},
           {" SIZE:1", SuccessFlag::None, "", "SUM:"},
           {"LEN:1", SuccessFlag::None, "", "SUM:"},
           {"\xc5\xbfUM:1", SuccessFlag::None, "", "SUM:"},  // a long s, whose capital is S
       }) {
    SCOPED_TRACE(stored);
    const auto flag = ParseSuccessFlag(stored);
    EXPECT_EQ(flag.option, option);
    EXPECT_EQ(flag.parameter, parameter);
    EXPECT_EQ(FormatSuccessFlag(flag), storedAgain);
  }
}

}  // namespace
}  // namespace norvane::settings
