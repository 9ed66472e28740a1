#include "engine/CheckTimes.h"

#include <gtest/gtest.h>

namespace norvane::engine {
namespace {

namespace keys = console::engine::keys;
using std::chrono::milliseconds;

TEST(CheckTimes, WhatIsNoSensibleNumberActsAsTheDefault) {
  struct Row {
    const char* interval;
    const char* timeout;
    milliseconds expectedInterval, expectedTimeout;
    int remarks;
  };
  const Row rows[] = {
      {"60", "30", milliseconds(60000), milliseconds(30000), 0},
      {" 2.5 ", "1e1", milliseconds(2500), milliseconds(10000), 0},
      {"0.5", "0", milliseconds(500), milliseconds(30000), 0},
      {"", "", milliseconds(60000), milliseconds(30000), 2},
      {"0", "-1", milliseconds(60000), milliseconds(30000), 2},
      {"2x", "3601", milliseconds(60000), milliseconds(30000), 2},
      {"nan", "5", milliseconds(60000), milliseconds(5000), 1},
      {"1e300", "0x10", milliseconds(60000), milliseconds(30000), 2},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.interval) + " / " + row.timeout);
    Attributes attributes;
    attributes.Set(keys::Interval, row.interval);
    attributes.Set(keys::Timeout, row.timeout);
    const auto times = CheckTimes::Of(attributes);
    EXPECT_EQ(times.interval, row.expectedInterval);
    EXPECT_EQ(times.timeout, row.expectedTimeout);
    EXPECT_EQ(times.remark.find(" is \"") != std::string::npos, row.remarks > 0);
    EXPECT_EQ(times.remark.find("; ") != std::string::npos, row.remarks == 2);
  }
}

}  // namespace
}  // namespace norvane::engine
