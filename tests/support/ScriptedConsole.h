#pragma once

#include <QApplication>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "console/FrmStart.h"
#include "console/shared/MainBas.h"
#include "driver/ConsoleUser.h"
#include "loopback/TempFolder.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/FakeEngine.h"

namespace norvane::tests {

/// The whole console of one scene of a script, in a folder of its own, with a fake engine and fake dialogs.
class ScriptedConsole : public driver::ConsoleUser {
 public:
  ~ScriptedConsole() = default;

  /// What comes before `Form_Load`. Until then the configuration file can be written.
  void Create(const std::function<void()>& endProcess);

  [[nodiscard]] QWidget& Window() const override { return *form; }
  /// The main window, the page on show, and the dialogs on show by their names.
  [[nodiscard]] std::vector<QWidget*> Forms() const;
  /// The one that accepts input.
  [[nodiscard]] QWidget& FormInFront() const;
  /// A control of the form in front, or of the page on show if that is the main window.
  template <class T = QWidget>
  [[nodiscard]] T& Find(const std::string& name) const {
    auto shown = Forms();
    if (auto* window = QApplication::activeModalWidget()) shown = {window};
    for (auto each = shown.rbegin(); each != shown.rend(); ++each)
      if (auto* part = (*each)->findChild<T*>(QString::fromStdString(name))) return *part;
    throw std::logic_error("no control of this name is on show: " + name);
  }
  /// The same, with its tab in front.
  template <class T = QWidget>
  [[nodiscard]] T& Show(const std::string& name) const {
    auto& control = Find<T>(name);
    ShowTabOf(control);
    return control;
  }

  /// "SERVER" and "FOLDER" in a script replace what differs from run to run.
  [[nodiscard]] std::string Resolved(std::string text) const;
  [[nodiscard]] std::string Anonymous(std::string text) const;

  loopback::TempFolder folder;
  /// Of the pages that the engine can fetch.
  static constexpr const char* Server = "http://127.0.0.1:80";
  FakeEngine engine;
  FakeDialogs dialogs;
  std::optional<console::shared::MainBas> bas;
  std::unique_ptr<console::FrmStart> form;
  std::vector<FakeMonitor> placed;

 private:
  void ShowTabOf(const QWidget& control) const;
};

/// Replaces all of them.
void ReplaceAll(std::string& text, const std::string& what, const std::string& by);

}  // namespace norvane::tests
