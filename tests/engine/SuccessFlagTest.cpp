#include "engine/SuccessFlag.h"

#include <gtest/gtest.h>

namespace norvane::engine {
namespace {

TEST(SuccessFlag, JudgesThePage) {
  struct Row {
    const char* flag;
    std::string body;
    const char* contentType;
    std::string failure;
  };
  const char* utf8 = "text/html; charset=utf-8";
  const Row rows[] = {
      {"", "page", "", ""},
      {"anything", "page", "", ""},
      {"SIZE", "page", "", ""},
      {"SIZE:", "page", "", ""},
      {"STR:", "page", "", ""},
      {"sum:", "page", "", ""},
      {" SIZE:9", "page", "", ""},  // no known prefix
      {"SIZE:4", "page", "", ""},
      {"size:4.0", "page", "", ""},
      {"SiZe: 4", "page", "", ""},
      {"SIZE:1180", "page", "", "size 4, expected 1180"},
      {"SIZE:4.5", "page", "", "size 4, expected 4.5"},
      {"SIZE:four", "page", "", "the success flag's size \"four\" is not a number"},
      {"SIZE:\x1b", "page", "", "the success flag's size \"?\" is not a number"},
      {"SIZE:2", "\xc3\xa4\xc3\xb6", utf8, ""},  // characters, not bytes
      {"SIZE:4", "\xc3\xa4\xc3\xb6", "text/html; charset=iso-8859-1", ""},
      {"SIZE:4", "a\r\nb", "", ""},
      {"STR:age", "page", "", ""},
      {"str:Age", "page", "", "string not found in the page"},
      {"STR: ", "page", "", "string not found in the page"},
      {"STR:STR:", "a STR: b", "", ""},
      {"STR:\xc3\xa4", "\xe4", "text/html; charset=windows-1252", ""},
      {"STR:\xc3\xa4", "\xe4", utf8, "string not found in the page"},
      {"SUM:511", std::string("\xff\xff\x00\x01", 4), "", ""},
      {"SUM:7", "\x05", "", "sum 5, expected 7"},
      {"SUM:-5", "\x05", "", "sum 5, expected -5"},
      {"SUM:0", "", "", ""},
      {"SUM:x", "", "", "the success flag's sum \"x\" is not a number"},
  };
  const platform::LegacyCharset charset;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.flag);
    EXPECT_EQ(PageFailure(row.flag, {row.body, row.contentType}, charset), row.failure);
  }
}

TEST(SuccessFlag, CountsInTheLegacyCharacterSet) {
  const platform::LegacyCharset charset("gbk");
  const Page page{
      "\xe4\xb8\xad\xe6\x96\x87"
      "a",
      "text/plain; charset=utf-8"};
  EXPECT_EQ(PageFailure("SIZE:5", page, charset), "");
  EXPECT_EQ(PageFailure("SIZE:3", page, charset), "size 5, expected 3");
}

}  // namespace
}  // namespace norvane::engine
