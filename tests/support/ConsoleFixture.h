#pragma once

#include <gtest/gtest.h>

#include <QAction>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "console/FrmStart.h"
#include "console/shared/MainBas.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/FakeEngine.h"
#include "tests/support/TempFolder.h"

namespace norvane::tests {

/// `Form_Load` with a user who sends the splash away by a key.
void LoadForm(console::FrmStart& form);

/// The whole console on a fake engine and fake doors, in a folder of its own.
class ConsoleFixture : public ::testing::Test {
 protected:
  using BoxChoice = console::shared::BoxChoice;
  using BoxIcon = console::shared::BoxIcon;
  using BoxButtons = console::shared::BoxButtons;

  /// From process start to the main window on show.
  void Start(const std::function<void(console::FrmStart&)>& before = {});
  /// Start, with these monitors (full name, status) in the engine, and none of the calls of it on record.
  void StartWith(const std::vector<std::pair<std::string, std::string>>& monitors);

  template <class T>
  [[nodiscard]] T& Control(const char* name) const {
    auto* control = form->findChild<T*>(QLatin1String(name));
    if (control == nullptr) throw std::logic_error(std::string("no control of this name: ") + name);
    return *control;
  }
  [[nodiscard]] std::string Caption() const { return form->windowTitle().toStdString(); }

  /// The calls so far, but for a page's reading of the monitor that it shows; the record starts anew.
  [[nodiscard]] std::vector<std::string> TakeConsoleCalls();

  /// The text of the selected node.
  [[nodiscard]] std::string SelectedText() const;
  [[nodiscard]] QModelIndex RootIndex() const;
  /// A node by its text.
  [[nodiscard]] QModelIndex NodeIndex(const std::string& text) const;
  /// A user's click on the node of this text; "" is the root.
  void ClickNode(const std::string& text);
  /// Presses the toolbar's button of this key.
  void PressButton(const char* key);
  /// A cell of the status list.
  [[nodiscard]] std::string Cell(int row, int column) const;
  /// The texts of a column of the status list.
  [[nodiscard]] std::vector<std::string> Column(int column) const;
  /// Those of "mnuControl delete start stop property mnuDelete mnuStart mnuStop" that are enabled, set apart
  /// by blanks; buttons by their keys.
  [[nodiscard]] std::string EnabledCommands() const;

  TempFolder folder;
  FakeEngine engine;
  FakeDialogs dialogs;
  int ended = 0;  ///< how often the process was to end
  console::shared::MainBas bas{engine, dialogs, folder.Path(), [this] { ++ended; }};
  std::unique_ptr<console::FrmStart> form = std::make_unique<console::FrmStart>(bas);
};

}  // namespace norvane::tests
