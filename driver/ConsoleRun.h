#pragma once

#include <string>

#include "console/Console.h"
#include "driver/ConsoleUser.h"

namespace norvane::driver {

/// One run of the real console, boxes included, with its user. The engine is that of `folder`.
class ConsoleRun : public ConsoleUser {
 public:
  explicit ConsoleRun(const std::string& folder) : console(folder, [this] { hasEnded = true; }) {}
  ~ConsoleRun() = default;

  /// Sends the splash away, after `atSplash`.
  void Start(const std::function<void(QWidget&)>& atSplash = {}) { LoadForm(console.form, atSplash); }
  /// What the list shows of a monitor: "Ok", "Error", or nothing. Polls first, and so belongs to the list.
  [[nodiscard]] std::string Result(const std::string& fullName);
  void AwaitResult(const std::string& fullName, const std::string& result);
  /// Chooses an entry of a menu.
  void Choose(const char* entry);
  /// A control of the page on show.
  template <class T>
  [[nodiscard]] T& OnPage(const char* name) const {
    return Part<T>(Page(), name);
  }
  [[nodiscard]] QWidget& Page() const;
  /// The tab of the page on show, from 0.
  void OpenTab(int index);

  [[nodiscard]] QWidget& Window() const override { return const_cast<console::FrmStart&>(console.form); }

  bool hasEnded = false;
  console::Console console;
};

}  // namespace norvane::driver
