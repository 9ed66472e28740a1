#include "settings/PagerTypes.h"

#include <gtest/gtest.h>

namespace norvane::settings {
namespace {

TEST(SettingsPagerTypes, CutsTheReplyIntoRows) {
  struct Row {
    const char* name;
    const char* reply;
    std::vector<std::string> rows;
  };
  const Row rows[] = {
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
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(PagerTypeRows(row.reply), row.rows);
  }
}

TEST(SettingsPagerTypes, NamesStandBehindTheFirstEqualsSign) {
  EXPECT_EQ(PagerTypeName("7=City"), "City");
  EXPECT_EQ(PagerTypeName("7=a=b"), "a=b");
  EXPECT_EQ(PagerTypeName("City"), "City");
  EXPECT_EQ(PagerTypeName("7="), "");
  EXPECT_EQ(PagerTypeName(""), "");
}

TEST(SettingsPagerTypes, ACallByModemHasNoMessage) {
  struct Row {
    const char* name;
    bool page, wizard;
  };
  const Row rows[] = {
      {"Call by modem", false, false}, {"", false, true}, {"City", true, true}, {"call by modem", true, true},
      {"Call by modem ", true, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(HasMessageOnPage(row.name), row.page);
    EXPECT_EQ(HasMessageInWizard(row.name), row.wizard);
  }
}

}  // namespace
}  // namespace norvane::settings
