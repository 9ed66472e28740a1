#pragma once

#include <QWidget>
#include <functional>
#include <stdexcept>
#include <string>

class QLineEdit;
class QMessageBox;

/// What a user does at windows. All of it belongs to the window system's thread; a window that does not come,
/// or go, within a minute is a std::runtime_error.
namespace norvane::driver {

/// A part of a window by its name.
template <class T>
[[nodiscard]] T& Part(const QObject& window, const char* name) {
  auto* part = window.findChild<T*>(QLatin1String(name));
  if (part == nullptr) throw std::logic_error(std::string("no control of this name: ") + name);
  return *part;
}

void Click(QWidget& control);
/// Replaces the text.
void Enter(QLineEdit& field, const std::string& text);
/// Presses the button of this caption, in which "&" does not count.
void Answer(QMessageBox& box, const std::string& caption);

/// Lets events run until `holds`. `what` names it in the error if it never does.
void Await(const std::string& what, const std::function<bool()>& holds);

/// Runs `act`, which opens a modal window and returns when it is closed. Meanwhile `answer` is called with
/// each modal window that appears, until it returns true: it has handled that one. If it throws, the window
/// is closed and the exception rethrown here. `name` is for the error if no such window appears.
void InWindow(const std::string& name, const std::function<void()>& act,
              const std::function<bool(QWidget&)>& answer);

/// The same for a form, in which the user does `answer`.
template <class Form>
void InForm(const std::function<void()>& act, const std::function<void(Form&)>& answer) {
  InWindow(Form::staticMetaObject.className(), act, [&answer](QWidget& window) {
    auto* form = qobject_cast<Form*>(&window);
    if (form != nullptr) answer(*form);
    return form != nullptr;
  });
}

/// The same for a message box of this title.
void InBox(const std::string& title, const std::function<void()>& act,
           const std::function<void(QMessageBox&)>& answer);

}  // namespace norvane::driver
