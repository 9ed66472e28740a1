#include "tests/support/ConsoleFixture.h"

#include <QMenu>

namespace norvane::tests {

void ConsoleFixture::Start(const std::function<void(console::FrmStart&)>& before) {
  if (before) before(*form);
  LoadForm(*form);
}

void ConsoleFixture::StartWith(const std::vector<std::pair<std::string, std::string>>& monitors) {
  for (const auto& [name, status] : monitors)
    engine.Place(name, {{"Status", status}});
  Start();
  (void)engine.TakeCalls();
}

std::vector<std::string> ConsoleFixture::TakeConsoleCalls() {
  auto calls = engine.TakeCalls();
  std::erase_if(calls, [](const std::string& call) { return call.starts_with("GetAttr(\"Monitor"); });
  return calls;
}

std::string ConsoleFixture::EnabledCommands() const {
  std::string enabled = Control<QMenu>("mnuControl").isEnabled() ? "mnuControl " : "";
  for (const char* name : {"ToolBar_delete", "ToolBar_start", "ToolBar_stop", "ToolBar_property", "mnuDelete",
                           "mnuStart", "mnuStop"}) {
    const auto& action = Control<QAction>(name);
    const auto shown = name[0] == 'T' ? action.text().toStdString() : std::string(name);
    if (action.isEnabled()) enabled += shown + " ";
  }
  if (!enabled.empty()) enabled.pop_back();
  return enabled;
}

}  // namespace norvane::tests
