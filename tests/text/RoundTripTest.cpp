#include <gtest/gtest.h>

#include "tests/support/OddMonitors.h"
#include "text/ApplyPlan.h"
#include "text/MonitorText.h"

namespace norvane::text {
namespace {

namespace ce = console::engine;

constexpr char Folder[] = "/srv/norvane";

ce::MonitorPtr RecordOf(const ce::MonitorChange& change) {
  auto record = std::make_shared<ce::MonitorRecord>();
  record->name = change.name;
  ce::KnownValues::Views known;
  for (const auto& [key, value] : ce::NewMonitorValues)
    known[*ce::KnownPosition(key)] = value;
  for (const auto& [key, value] : change.values) {
    if (const auto position = ce::KnownPosition(key))
      known[*position] = value;
    else
      record->others[key] = value;
  }
  record->known = ce::KnownValues(known);
  return record;
}

std::string MistakesOf(const Description& description) {
  std::string text;
  for (const auto& mistake : description.mistakes.Kept())
    text += TextOf(mistake, description.files) + "\n";
  return text;
}

/// Whatever monitors have: their text changes nothing, and makes the same monitors anew.
TEST(MonitorText, SaysAllThatMonitorsHave) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    ce::MonitorSnapshot monitors;
    for (const auto& each : tests::OddMonitors(100, seed))
      monitors.push_back(RecordOf(each));
    const auto text = TextOf(monitors, Folder, Secrets::Shown);
    const auto description = ReadMonitorText(text);
    ASSERT_EQ(MistakesOf(description), "") << text;
    EXPECT_EQ(MakePlan(description, monitors, Folder, true).text,
              "0 added, 0 changed, 0 removed, 100 unchanged\n");
    ce::MonitorSnapshot made;
    for (const auto& change : MakePlan(description, {}, Folder, true).changes)
      made.push_back(RecordOf(change));
    EXPECT_EQ(TextOf(made, Folder, Secrets::Shown), text) << "seed " << seed;
    const auto hidden = ReadMonitorText(TextOf(monitors, Folder, Secrets::Hidden));
    EXPECT_EQ(MistakesOf(hidden), "");
    EXPECT_TRUE(MakePlan(hidden, monitors, Folder, true).changes.empty()) << "passwords are kept";
  }
}

TEST(MonitorText, IsWhatPeopleWouldWrite) {
  const auto monitor = RecordOf({ce::MonitorChange::What::Add,
                                 "WebMonitor Of shop",
                                 {{"Monitor_Parameter", "https://shop.example/"},
                                  {"MonitorExt_SuccessFlag", "STR:Add: to basket"},
                                  {"Monitor_InterVal (s)", "300"},
                                  {"Monitor_Timeout (s)", "abc"},
                                  {"Monitor_Notify Mode", "SMTP://mail.example;norvane@example"},
                                  {"Monitor_Notify Pager", "ops@example"},
                                  {"Monitor_Command", "restart.sh"},
                                  {"Monitor_LogFile", "/srv/norvane/log/NorvaneLog%d%m%y.log"},
                                  {"Status", "Enable"},
                                  {"colour", "red"}}});
  EXPECT_EQ(TextOf({monitor}, Folder, Secrets::Hidden),
            "# Monitors of Norvane. What this file may hold: man norvane-monitors\n"
            "monitors:\n"
            "  WebMonitor Of shop:\n"
            "    url: https://shop.example/\n"
            "    expect:\n"
            "      text: \"Add: to basket\"\n"
            "    interval: 5m\n"
            "    command:\n"
            "      run: restart.sh\n"
            "    notify:\n"
            "      mail: ops@example\n"
            "      via: mail.example\n"
            "      from: norvane@example\n"
            "    state: running\n"
            "    Monitor_Timeout (s): !raw \"abc\"\n"
            "    colour: !raw \"red\"\n");
}

}  // namespace
}  // namespace norvane::text
