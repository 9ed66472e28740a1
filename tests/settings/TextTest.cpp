#include "settings/Text.h"

#include <gtest/gtest.h>

#include <clocale>

#include "tests/support/Rows.h"

namespace norvane::settings {
namespace {

using tests::Rows;

TEST(SettingsText, PositionsCountCharactersFromOne) {
  const Rows<const char*, const char*, std::size_t> rows = {
      {"http://www.example.com/", "/", 6},
      {"http://www.example.com/", ".", 11},
      {"a@b@c", "@", 2},
      {"@", "@", 1},
      {"", "@", 0},
      {"abc", "B", 0},
      {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x99\x82@", "@", 4},  // letters of two, three and four bytes
  };
  for (const auto& [text, what, position] : rows)
    EXPECT_EQ(Position(text, what), position) << text;
}

TEST(SettingsText, FoldsTheLettersOfAllScriptsWithoutALocale) {
  ASSERT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");
  const Rows<const char*, const char*, const char*> rows = {
      {"Latin", "SHOP-\xc3\x84\xc3\x96\xc3\x9c 1", "shop-\xc3\xa4\xc3\xb6\xc3\xbc 1"},
      {"Latin extended", "\xc4\x8c\xc5\xa0", "\xc4\x8d\xc5\xa1"},
      {"Greek", "\xce\x91\xce\x94\xce\xa9", "\xce\xb1\xce\xb4\xcf\x89"},
      {"Cyrillic", "\xd0\x96\xd0\xaf\xd0\x81", "\xd0\xb6\xd1\x8f\xd1\x91"},
      {"four bytes", "\xf0\x90\x90\x80", "\xf0\x90\x90\xa8"},
      {"no letters", "1@/\xe2\x82\xac\xe6\x97\xa5", "1@/\xe2\x82\xac\xe6\x97\xa5"},
      {"stray bytes", "A\xff\xc3", "a\xff\xc3"},
      {"empty", "", ""},
  };
  for (const auto& [name, upper, lower] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(Upper(lower), upper);
    EXPECT_EQ(Lower(upper), lower);
    EXPECT_EQ(Upper(upper), upper);
    EXPECT_EQ(Lower(lower), lower);
  }
  EXPECT_EQ(Upper("stra\xc3\x9f"
                  "e"),
            "STRA\xc3\x9f"
            "E");
}

}  // namespace
}  // namespace norvane::settings
