#include "formats/Number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "formats/Duration.h"
#include "tests/support/Rows.h"

namespace norvane::formats {
namespace {

using tests::Rows;

TEST(Number, ReadsTheStartOrTheWhole) {
  using Texts = std::vector<const char*>;
  const Rows<Texts, double, std::optional<double>> rows = {
      {{"12", "  12 ", "+12"}, 12, 12},
      {{"-12.50"}, -12.5, -12.5},
      {{".5"}, .5, .5},
      {{"5."}, 5, 5},
      {{"-.5"}, -.5, -.5},
      {{"1e3"}, 1000, 1000},
      {{"1.5E-1"}, .15, .15},
      {{"007"}, 7, 7},
      {{"123456789012345678"}, 123456789012345680, 123456789012345680},
      {{"12ab", "12\n"}, 12, {}},
      {{"1 2", "1,000", "1,5", "1e", "1e+"}, 1, {}},
      {{"1.2.3"}, 1.2, {}},
      {{"0x10", "", "   ", "-", ".", "e5", "+-5", "- 5", "ab12", "nan", "-inf", "infinity", "1e999", "\t12",
        "\xc2\xa0-12", "\xd9\xa1"},
       0,
       {}},
  };
  for (const auto& [texts, start, whole] : rows)
    for (const auto* text : texts) {
      EXPECT_EQ(Val(text), start) << text;
      EXPECT_EQ(ParseNumber(text), whole) << text;
    }
  // Only the characters that it is given, a zero too.
  EXPECT_EQ(ParseNumber(std::string_view("12345", 2)), 12);
  EXPECT_EQ(ParseNumber(std::string_view("12\0", 3)), std::nullopt);
}

TEST(Number, WritesTheShortestText) {
  const Rows<double, const char*> rows = {
      {9, "9"},
      {1.5, "1.5"},
      {-0.25, "-0.25"},
      {0, "0"},
      {-0.0, "0"},
      {0.1 + 0.2, "0.3"},
      {2.5 - 1, "1.5"},
      {2.1 - 1, "1.1"},
      {100000, "100000"},
      {1234567.5, "1234567.5"},
      {999999999999999, "999999999999999"},
      {0.0000001, "0.0000001"},
      {1.0 / 3, "0.333333333333333"},
      {2e15, "2e+15"},
      {1e-20, "1e-20"},
      {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
  };
  for (const auto& [value, text] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(FormatNumber(value), text);
    ASSERT_TRUE(ParseNumber(text));
    EXPECT_NEAR(*ParseNumber(text), value, std::abs(value) * 1e-14);
  }
}

TEST(Duration, ReadsSecondsOrAUnit) {
  const Rows<const char*, int> rows = {{"90", 90},    {"90s", 90},         {" 1.5 h ", -1}, {"1.5 h", 5400},
                                       {"2m", 120},   {"1d", 86400},       {"0", 0},        {"-1", -1},
                                       {"", -1},      {"h", -1},           {"1w", -1},      {"1e9", -1},
                                       {"3651d", -1}, {"3650d", 315360000}};
  for (const auto& [text, seconds] : rows)
    EXPECT_EQ(ParseDuration(text).value_or(std::chrono::seconds(-1)).count(), seconds) << text;
}

}  // namespace
}  // namespace norvane::formats
