#include "tests/support/ScriptedConsole.h"

#include <QDialog>
#include <QTabWidget>
#include <regex>

namespace norvane::tests {

void ScriptedConsole::Create(const std::function<void()>& endProcess) {
  bas.emplace(engine, dialogs, folder.Path(), endProcess);
  form = std::make_unique<console::FrmStart>(*bas);
}

std::vector<QWidget*> ScriptedConsole::Forms() const {
  if (!form) return {};
  std::vector<QWidget*> forms = {form.get()};
  for (const auto& page : bas->PageForms)
    if (page && page->isVisible()) forms.push_back(page);
  std::map<QString, QWidget*> shown;  // Qt lists windows in any order
  for (auto* window : QApplication::topLevelWidgets())
    if (window->isVisible() && qobject_cast<QDialog*>(window) != nullptr)
      shown[window->objectName()] = window;
  for (const auto& [name, window] : shown)
    forms.push_back(window);
  return forms;
}

QWidget& ScriptedConsole::FormInFront() const {
  auto* window = QApplication::activeModalWidget();
  return window != nullptr ? *window : Window();
}

void ScriptedConsole::ShowTabOf(const QWidget& control) const {
  for (const auto* each : Forms())
    for (auto* tabs : each->findChildren<QTabWidget*>())
      for (int tab = 0; tab < tabs->count(); ++tab)
        if (tabs->widget(tab)->isAncestorOf(&control)) tabs->setCurrentIndex(tab);
}

std::string ScriptedConsole::Resolved(std::string text) const {
  ReplaceAll(text, "SERVER", Server);
  ReplaceAll(text, "FOLDER", folder.Path());
  return text;
}

std::string ScriptedConsole::Anonymous(std::string text) const {
  ReplaceAll(text, folder.Path(), "FOLDER");
  ReplaceAll(text, Server, "SERVER");
  if (bas) ReplaceAll(text, bas->MachineName, "MACHINE");
  return std::regex_replace(text, std::regex("Version [0-9]+[.][0-9.]+"), "Version NUMBER");
}

void ReplaceAll(std::string& text, const std::string& what, const std::string& by) {
  if (what.empty()) return;
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
}

}  // namespace norvane::tests
