#include "formats/SuccessFlag.h"

#include <gtest/gtest.h>

#include "tests/support/Rows.h"

namespace norvane::formats {
namespace {

using tests::Rows;
using Kind = SuccessFlag::Kind;

TEST(SuccessFlag, ReadsAndWrites) {
  for (const auto& [stored, kind, parameter, written] : Rows<const char*, Kind, const char*, const char*>{
           {"SIZE:120", Kind::Size, "120", "SIZE:120"},
           {"size:120", Kind::Size, "120", "SIZE:120"},
           {"SIZE:", Kind::Size, "", "SIZE:"},
           {"Str:Hello World", Kind::String, "Hello World", "STR:Hello World"},
           {"STR:SIZE:1", Kind::String, "SIZE:1", "STR:SIZE:1"},
           {"STR: \xc3\xa4 ", Kind::String, " \xc3\xa4 ", "STR: \xc3\xa4 "},
           {"SUM:42", Kind::Sum, "42", "SUM:42"},
           {"sum:", Kind::Sum, "", "SUM:"},
           {"", Kind::None, "", "SUM:"},
           {"SIZE", Kind::None, "", "SUM:"},
           {" SIZE:1", Kind::None, "", "SUM:"},
           {"LEN:1", Kind::None, "", "SUM:"},
           {"\xc5\xbfUM:1", Kind::None, "", "SUM:"},  // a long s, whose capital is S
       }) {
    SCOPED_TRACE(stored);
    const auto flag = ParseSuccessFlag(stored);
    EXPECT_EQ(flag.kind, kind);
    EXPECT_EQ(flag.parameter, parameter);
    EXPECT_EQ(FormatSuccessFlag(flag), written);
  }
}

}  // namespace
}  // namespace norvane::formats
