#include "tray/OutageWatch.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/Rows.h"

namespace norvane::tests {
namespace {

using namespace tray;

namespace ce = console::engine;

/// Monitors, each with its state: "a:up", "a:out" (an outage), "a:held" (one that is held), "a:off"
/// (stopped). "gone": no engine.
EngineView View(const std::string& text) {
  if (text == "gone") return {.problem = "no engine answers"};
  EngineView view;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const auto colon = word.find(':');
    const auto name = word.substr(0, colon), state = word.substr(colon + 1);
    auto record = std::make_shared<ce::MonitorRecord>();
    record->name = name;
    record->others[std::string(ce::keys::Status)] = state == "off" ? ce::StatusDisable : ce::StatusEnable;
    record->others[std::string(ce::keys::Result)] = state == "up" ? ce::ResultOk : "<b>";
    view.monitors.push_back(std::move(record));
    if (state == "out" || state == "held") view.outages.push_back({name, {}, state == "held"});
  }
  return view;
}

TEST(OutageWatch, NotifiesEachBeginningAndEndOnce) {
  using Titles = std::vector<std::string>;
  const Rows<const char*, Titles, Titles> rows = {
      {"begins and ends", {"a:up", "a:out", "a:out", "a:up", "a:up"}, {"Outage: a", "Outage over: a"}},
      {"open at the start", {"a:out", "a:out", "a:up"}, {"Outage over: a"}},
      {"while the engine was gone", {"a:up b:out", "gone", "a:out b:up"}, {"Outage: a", "Outage over: b"}},
      {"through a restart of the engine", {"a:out", "gone", "gone", "a:out"}, {}},
      {"no engine at the start", {"gone", "a:out", "a:up"}, {"Outage over: a"}},
      {"held", {"a:up", "a:held", "a:up"}, {}},
      {"held no longer", {"a:up", "a:held", "a:out", "a:up"}, {"Outage: a", "Outage over: a"}},
      {"held when it had begun", {"a:up", "a:out", "a:held", "a:up"}, {"Outage: a", "Outage over: a"}},
      {"held at the start", {"a:held", "a:out"}, {"Outage: a"}},
      {"stopped or removed", {"a:out b:out", "a:off"}, {}},
      {"added with one", {"", "a:out"}, {"Outage: a"}},
      {"three", {"a:up b:up c:up", "a:out b:out c:out"}, {"Outage: a", "Outage: b", "Outage: c"}},
      {"a storm", {"a:up b:up c:up d:up", "a:out b:out c:out d:out"}, {"4 outages"}},
      {"the end of a storm",
       {"a:out b:out c:out d:out e:up", "a:up b:up c:up d:up e:out"},
       {"Outage: e", "4 outages are over"}},
  };
  for (const auto& [name, views, expected] : rows) {
    SCOPED_TRACE(name);
    OutageWatch watch;
    Titles titles;
    for (const auto& view : views)
      for (const auto& notice : watch.Update(View(view)).notices)
        titles.push_back(notice.title);
    EXPECT_EQ(titles, expected);
  }
}

TEST(OutageWatch, ShowsStateAndReasons) {
  const Rows<const char*, Colour, const char*> rows = {
      {"", Colour::Green, "Norvane: 0 outages, 0 monitors"},
      {"a:up b:off", Colour::Green, "Norvane: 0 outages, 2 monitors"},
      {"b:out a:held", Colour::Red,
       "Norvane: 2 outages, 2 monitors\na: <b> (silenced, or its parent is down)\nb: <b>"},
      {"a:out b:out c:out d:out e:out f:out", Colour::Red,
       "Norvane: 6 outages, 6 monitors\na: <b>\nb: <b>\nc: <b>\nd: <b>\ne: <b>\nand 1 more"},
      {"gone", Colour::Grey, "Norvane: no engine answers"},
  };
  for (const auto& [view, colour, toolTip] : rows) {
    SCOPED_TRACE(view);
    const auto update = OutageWatch().Update(View(view));
    EXPECT_EQ(update.colour, colour);
    EXPECT_EQ(update.toolTip, toolTip);
  }
}

}  // namespace
}  // namespace norvane::tests
