#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "console/FrmStart.h"
#include "console/shared/MainBas.h"
#include "driver/ConsoleUser.h"
#include "loopback/TempFolder.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/FakeEngine.h"

namespace norvane::tests {

using namespace driver;

/// The whole console on a fake engine and fake dialogs, in a folder of its own.
class ConsoleFixture : public ::testing::Test, protected ConsoleUser {
 protected:
  using BoxChoice = console::shared::BoxChoice;
  using BoxIcon = console::shared::BoxIcon;
  using BoxButtons = console::shared::BoxButtons;

  /// From process start to the main window on show.
  void Start(const std::function<void(console::FrmStart&)>& before = {});
  /// Start, with these monitors (full name, status) in the engine, and none of the calls of it on record.
  void StartWith(const std::vector<std::pair<std::string, std::string>>& monitors);

  [[nodiscard]] QWidget& Window() const override { return *form; }

  loopback::TempFolder folder;
  FakeEngine engine;
  FakeDialogs dialogs;
  int ended = 0;  ///< how often the process was to end
  console::shared::MainBas bas{engine, dialogs, folder.Path(), [this] { ++ended; }};
  std::unique_ptr<console::FrmStart> form = std::make_unique<console::FrmStart>(bas);
};

}  // namespace norvane::tests
