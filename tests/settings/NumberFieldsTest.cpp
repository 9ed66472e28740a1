#include "settings/NumberFields.h"

#include <gtest/gtest.h>

#include "tests/settings/FakeForm.h"

namespace norvane::settings {
namespace {

TEST(SettingsNumberFields, ClampsIntervalAndTimeOut) {
  struct Row {
    const char* interval;
    const char* timeout;
    const char* intervalAfter;
    const char* timeoutAfter;
  };
  const Row rows[] = {
      {"1", "5", "2", "1"},
      {"10", "30", "10", "9"},
      {"10", "10", "10", "10"},
      {"10", "0", "10", "0"},
      {"2.5", "9", "2.5", "1.5"},
      {"2", "02", "2", "02"},
      {"0", "0", "2", "0"},
      {"1.99", "2", "2", "2"},
      {"02", "1", "02", "1"},
      {" 5 ", "6", " 5 ", "4"},
      {"100000", "100001", "100000", "99999"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.interval) + " and " + row.timeout);
    tests::FakeForm form;
    form.text = {{TextField::txtInterval, row.interval}, {TextField::txtWaitTime, row.timeout}};
    ClampTimes(form);
    EXPECT_EQ(form.Text(TextField::txtInterval), row.intervalAfter);
    EXPECT_EQ(form.Text(TextField::txtWaitTime), row.timeoutAfter);
  }
}

TEST(SettingsNumberFields, SpinnersStep) {
  struct Row {
    const char* text;
    const char* up;
    const char* down;
  };
  const Row rows[] = {
      {"2", "3", "1"},   {"10", "11", "9"},    {"1", "2", "0"},        {"0", "1", "0"},
      {"", "1", "0"},    {"abc", "1", "0"},    {"2.5", "3.5", "1.5"},  {"0.5", "1.5", "-0.5"},
      {"-3", "-2", "0"}, {"12ab", "13", "11"}, {"0.1", "1.1", "-0.9"}, {" 7 ", "8", "6"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(StepUp(row.text), row.up);
    EXPECT_EQ(StepDown(row.text), row.down);
  }
}

}  // namespace
}  // namespace norvane::settings
