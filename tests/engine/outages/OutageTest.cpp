#include "engine/outages/Outage.h"

#include <gtest/gtest.h>

#include <string>

#include "console/engine/MonitorKeys.h"
#include "engine/model/Attributes.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

namespace keys = console::engine::keys;

OutageRules Rules(const std::string& failTimes, const std::string& maxFailTimes, std::string& remark) {
  Attributes attributes;
  attributes.Set(keys::FailTimes, failTimes);
  attributes.Set(keys::MaxFailTimes, maxFailTimes);
  attributes.Set(keys::Command, "down.sh");
  attributes.Set(keys::NotifyMode, "TEL://");
  return OutageRules::Of(attributes, remark);
}

/// What each failure in a row leads to: "b" an outage begins, "c" a command, "n" a notification, "-" nothing;
/// "." after those that leave nothing more to come.
std::string Story(const OutageRules& rules, int failures) {
  Outage outage;
  std::string story;
  for (int i = 0; i < failures; ++i) {
    const auto actions = outage.Fail(rules, {});
    if (!story.empty()) story += ' ';
    const auto size = story.size();
    if (actions.begin) story += 'b';
    if (actions.launch) story += 'c';
    if (actions.notify) story += 'n';
    if (story.size() == size) story += '-';
    if (actions.isSettled) story += '.';
  }
  return story;
}

TEST(Outage, CountsCommandsAndNotifiesOnce) {
  for (const auto& [failTimes, maxFailTimes, story, isBad] :
       tests::Rows<const char*, const char*, const char*, bool>{
           {"2", "2", "- bc cn. -. -. -.", false},
           {"1", "0", "bn. -. -. -. -. -.", false},
           {"0", "1", "bc n. -. -. -. -.", false},  // at least 1
           {"0.5", "1", "bc n. -. -. -. -.", false},
           {"3", "1", "- n bc. -. -. -.", false},  // neither waits for the other
           {"2", "4", "- bc c c cn. -.", false},
           {"6", "9", "- - - - - bc", false},
           {"1.5", "2.5", "- bc cn. -. -. -.", false},  // the third failure is the first above 2.5
           {" 2 ", "1e0", "- bcn. -. -. -. -.", false},
           {"7", "2", "- - n - - -", false},
           {"", "2", "- bc cn. -. -. -.", true},
           {"2", "1e10", "- bc c c c c", true},
       }) {
    SCOPED_TRACE(std::string(failTimes) + " / " + maxFailTimes);
    std::string remark;
    EXPECT_EQ(Story(Rules(failTimes, maxFailTimes, remark), 6), story);
    EXPECT_EQ(!remark.empty(), isBad) << remark;
  }
}

TEST(Outage, WithoutCommandAndModeOnlyCounts) {
  OutageRules rules{1, 0, false, false};
  EXPECT_EQ(Story(rules, 3), "b. -. -.");
  rules = {1, 5, false, true};
  EXPECT_EQ(Story(rules, 7), "b - - - - n. -.");
}

TEST(OutageRules, ACommandOfBlanksIsNone) {
  for (const auto& [command, isOne] : std::initializer_list<std::pair<const char*, bool>>{
           {"", false}, {"   ", false}, {" up.sh", true}}) {
    Attributes attributes = NewMonitorAttributes();
    attributes.Set(console::engine::keys::Command, command);
    attributes.Set(console::engine::keys::CommandSucc, command);
    std::string remark;
    EXPECT_EQ(OutageRules::Of(attributes, remark).hasCommand, isOne);
    EXPECT_EQ(OutageRules::NamesCommand(attributes, console::engine::keys::CommandSucc), isOne);
  }
}

}  // namespace
}  // namespace norvane::engine
