#include "engine/web/HeldPage.h"

#include <gtest/gtest.h>

#include <string>

namespace norvane::engine {
namespace {

TEST(HeldPage, ALargeOneLeavesAsMuchToOthersAsItTakes) {
  constexpr std::size_t Size = 64 << 10;
  const std::string piece(Size, 'x');
  PageQuota quota(16 * Size);
  HeldPage large(quota), small(quota);
  while (large.Append(piece).empty())
    continue;
  EXPECT_EQ(large.Bytes().size(), 8 * Size);
  EXPECT_EQ(small.Append(piece), "");
  EXPECT_EQ(large.Append(piece), TooManyLargePages);
  large.Clear();
  small.Clear();
  EXPECT_EQ(quota.Left(), 16 * Size);
}

}  // namespace
}  // namespace norvane::engine
