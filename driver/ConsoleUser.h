#pragma once

#include <QModelIndex>
#include <string>
#include <vector>

#include "driver/Windows.h"

namespace norvane::console {
class FrmStart;
}

namespace norvane::driver {

/// `Form_Load` with a user who sends the splash away by a key, after `atSplash`.
void LoadForm(console::FrmStart& form, const std::function<void(QWidget&)>& atSplash = {});

/// What a user does at the console's main window, and sees there.
class ConsoleUser {
 public:
  template <class T>
  [[nodiscard]] T& Control(const char* name) const {
    return Part<T>(Window(), name);
  }
  [[nodiscard]] std::string Caption() const;

  /// The text of the selected node.
  [[nodiscard]] std::string SelectedText() const;
  [[nodiscard]] QModelIndex RootIndex() const;
  /// A node by its text.
  [[nodiscard]] QModelIndex NodeIndex(const std::string& text) const;
  /// A user's click on the node of this text; "" is the root.
  void ClickNode(const std::string& text);
  /// Lets the window follow what it was told of changes elsewhere, without the pause before.
  void FollowChanges();
  /// Presses the toolbar's button of this key.
  void PressButton(const char* key);
  /// A cell of the status list.
  [[nodiscard]] std::string Cell(int row, int column) const;
  /// The texts of a column of the status list.
  [[nodiscard]] std::vector<std::string> Column(int column) const;

 protected:
  ConsoleUser() = default;
  ConsoleUser(const ConsoleUser&) = default;
  ConsoleUser& operator=(const ConsoleUser&) = default;
  ~ConsoleUser() = default;

  [[nodiscard]] virtual QWidget& Window() const = 0;
};

}  // namespace norvane::driver
