#include "tests/support/ConsoleFixture.h"

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

}  // namespace norvane::tests
