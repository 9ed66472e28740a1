#include "settings/NumberFields.h"

#include <gtest/gtest.h>

#include "tests/settings/FakeForm.h"
#include "tests/support/Rows.h"

namespace norvane::settings {
namespace {

using tests::Rows;

TEST(SettingsNumberFields, ClampsIntervalAndTimeOut) {
  const Rows<const char*, const char*, const char*, const char*> rows = {
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
  for (const auto& [interval, timeout, intervalAfter, timeoutAfter] : rows) {
    SCOPED_TRACE(std::string(interval) + " and " + timeout);
    tests::FakeForm form;
    form.text = {{TextField::txtInterval, interval}, {TextField::txtWaitTime, timeout}};
    ClampTimes(form);
    EXPECT_EQ(form.Text(TextField::txtInterval), intervalAfter);
    EXPECT_EQ(form.Text(TextField::txtWaitTime), timeoutAfter);
  }
}

TEST(SettingsNumberFields, SpinnersStep) {
  const Rows<const char*, const char*, const char*> rows = {
      {"2", "3", "1"},   {"10", "11", "9"},    {"1", "2", "0"},        {"0", "1", "0"},
      {"", "1", "0"},    {"abc", "1", "0"},    {"2.5", "3.5", "1.5"},  {"0.5", "1.5", "-0.5"},
      {"-3", "-2", "0"}, {"12ab", "13", "11"}, {"0.1", "1.1", "-0.9"}, {" 7 ", "8", "6"},
  };
  for (const auto& [text, up, down] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(StepUp(text), up);
    EXPECT_EQ(StepDown(text), down);
  }
}

}  // namespace
}  // namespace norvane::settings
