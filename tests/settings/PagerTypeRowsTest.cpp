#include "settings/PagerTypeRows.h"

#include <gtest/gtest.h>

#include "tests/support/Rows.h"

namespace norvane::settings {
namespace {

using tests::Rows;

TEST(SettingsPagerTypes, CutsTheReplyIntoRows) {
  const Rows<const char*, const char*, std::vector<std::string>> rows = {
      {"two lines", "0=Call by modem\r\n1=City\r\n", {"0=Call by modem", "1=City"}},
      {"last line without its end", "0=A\r\n1=B", {"0=A"}},
      {"no line end at all", "0=A", {}},
      {"line feeds alone take a character", "0=Ab\n1=Cd\n", {"0=A", "1=C"}},
      {"the character may have two bytes", "0=A\xc3\xa4\n", {"0=A"}},
      {"a stray byte is one", "\x80\n1=B\r\n", {"", "1=B"}},
      {"an empty line counts", "0=A\r\n\r\n2=C\r\n", {"0=A", "", "2=C"}},
      {"a line feed in front", "\n0=A\r\n", {}},
      {"a line feed alone ends the rows", "0=A\r\n\n1=B\r\n", {"0=A"}},
      {"empty", "", {}},
  };
  for (const auto& [name, reply, expected] : rows)
    EXPECT_EQ(PagerTypeRows(reply), expected) << name;
}

TEST(SettingsPagerTypes, NamesStandBehindTheFirstEqualsSign) {
  for (const auto& [row, name] : Rows<const char*, const char*>{
           {"7=City", "City"}, {"7=a=b", "a=b"}, {"City", "City"}, {"7=", ""}, {"", ""}})
    EXPECT_EQ(PagerTypeName(row), name) << row;
}

TEST(SettingsPagerTypes, ACallByModemHasNoMessage) {
  for (const auto& [name, page, wizard] : Rows<const char*, bool, bool>{{"Call by modem", false, false},
                                                                        {"", false, true},
                                                                        {"City", true, true},
                                                                        {"call by modem", true, true},
                                                                        {"Call by modem ", true, true}}) {
    EXPECT_EQ(HasMessageOnPage(name), page) << name;
    EXPECT_EQ(HasMessageInWizard(name), wizard) << name;
  }
}

}  // namespace
}  // namespace norvane::settings
