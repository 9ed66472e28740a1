#include "console/shared/MonitorNames.h"

#include <gtest/gtest.h>

namespace norvane::tests {
namespace {

using console::shared::MonitorNames;
using Names = std::vector<std::string>;

TEST(MonitorNames, ANameExistsInAnyCaseAndAsATail) {
  const Names names = {"WebMonitor Of shop", "Pop3Monitor Of \xc3\x84rger", "SmtpMonitor Of a\\/\\/b"};
  const std::pair<const char*, bool> rows[] = {
      {"WebMonitor Of shop", true},
      {"webmonitor OF SHOP", true},
      {"monitor of shop", true},
      {"Pop3Monitor Of \xc3\xa4rger", true},
      {"WebMonitor Of sho", false},
      {"WebMonitor Of shop2", false},
      {"My WebMonitor Of shop", false},
      {"SmtpMonitor Of shop", false},
      {"SmtpMonitor Of a", true},  // the separator ends it
      {"shop\\/\\/pop3monitor of \xc3\xa4rger", true},
  };
  for (const auto& [name, exists] : rows)
    EXPECT_EQ(MonitorNames(names).Exists(name), exists) << name;
  EXPECT_FALSE(MonitorNames({}).Exists("WebMonitor Of shop"));
}

TEST(MonitorNames, TheLowestFreeNumberIsTheFirstThatDoesNotExist) {
  const std::string head = "WebMonitor Of ";
  Names many;
  for (int number = 300; number > 0; --number)
    many.push_back(head + std::to_string(number));
  const std::pair<Names, int> rows[] = {
      {{}, 1},
      {{head + "2", head + "3"}, 1},
      {{head + "1", "webmonitor of 2", "Other" + head + "3", head + "5"}, 4},
      {{head + "01", head + "1x", head + "-1", head + "+1", head, head + "99999999999999999999"}, 1},
      {{head + "1\\/\\/x", head + head + "2"}, 3},
      {{"SmtpMonitor Of 1"}, 1},
      {many, 301},
  };
  for (const auto& [names, number] : rows) {
    SCOPED_TRACE(names.empty() ? "none" : names.front());
    const MonitorNames looked(names);
    EXPECT_EQ(looked.LowestFreeNumber(head), number);
    for (int lower = 1; lower < number; ++lower)
      EXPECT_TRUE(looked.Exists(head + std::to_string(lower)));
    EXPECT_FALSE(looked.Exists(head + std::to_string(number)));
  }
}

}  // namespace
}  // namespace norvane::tests
