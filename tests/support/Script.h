#pragma once

#include <QObject>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Trace.h"

namespace norvane::tests {

/// Plays a script and fails the test if its trace differs from its file.
///
/// A line that begins with ">" is an action of the user or a condition; ScriptCommands.cpp has the commands.
/// The lines below it are its trace, in order: calls of the engine, boxes with title, text,
/// icon and answer, windows, files opened, the hourglass; and whatever of the forms on show has changed, in
/// front of the next event or call that changes something, else at the end of the step.
/// "==" begins a new console in a new folder; "#" is a remark.
///
/// `NORVANE_RENEW=1 ctest --preset dev -R Script` writes the present traces into all files, and fails.
/// Read the diff like code: a script is a promise to the user.
void PlayScript(const std::string& path);

/// A script at play, as its commands see it.
class Script : public QObject {
 public:
  explicit Script(const std::string& text);
  ~Script() override;

  /// The script with its trace.
  [[nodiscard]] std::string Play();

  [[nodiscard]] ScriptedConsole& Console() { return *m_console; }
  [[nodiscard]] Trace& Record() { return *m_trace; }
  /// Carries out one command.
  void Act(std::string command);
  /// Runs what needs timers; a window that opens meanwhile does not play the next steps.
  void LetTimeRun(const std::function<void()>& action);
  /// The same, without a trace.
  void RunUntraced(const std::function<void()>& action);
  /// Lets events run until it holds.
  void Await(const std::function<bool()>& holds);
  /// "$name" means the text from here on.
  void Define(const std::string& name, const std::string& text) { m_names[name] = text; }
  /// Whether there was a message box since the last step other than "await".
  [[nodiscard]] bool BoxShown() const { return m_boxShown; }

 private:
  void BeginScene();
  void EndScene();
  void Step();
  [[nodiscard]] bool SceneGoesOn() const;
  void LookForWindow();
  void PlayWhileOpen(QWidget& window);

  std::vector<std::string> m_lines;
  std::size_t m_next = 0;
  std::string m_text;
  std::map<std::string, std::string> m_names;
  std::unique_ptr<ScriptedConsole> m_console;
  std::unique_ptr<Trace> m_trace;
  const QWidget* m_window = nullptr;  ///< that the present step began in
  bool m_staysOut = false;            ///< opened windows play no steps
  bool m_boxShown = false;
};

}  // namespace norvane::tests
