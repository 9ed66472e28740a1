#include "platform/MemoryReserve.h"

#include <gtest/gtest.h>

#include <new>

namespace norvane::platform {
namespace {

TEST(MemoryReserve, IsGivenOutOnceUntilItIsRestored) {
  const auto before = std::get_new_handler();
  KeepMemoryReserve();
  const auto whenNewFails = std::get_new_handler();
  std::set_new_handler(before);
  ASSERT_NE(whenNewFails, nullptr);
  for (int round = 0; round < 2; ++round) {
    EXPECT_FALSE(IsMemoryShort());
    whenNewFails();  // and `new` tries again
    EXPECT_TRUE(IsMemoryShort());
    EXPECT_THROW(whenNewFails(), std::bad_alloc);
    EXPECT_TRUE(RestoreMemoryReserve());
  }
}

}  // namespace
}  // namespace norvane::platform
