#pragma once

#include <QObject>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Trace.h"

namespace norvane::tests {

/// Plays a script and fails the test if it comes out another way than its file tells.
///
/// A line that begins with ">" is what the user does, or what the world is like; ScriptCommands.cpp has the
/// commands. The lines below it are what comes of it, in order: calls of the engine, boxes with title, text,
/// icon and answer, windows, files opened, the hourglass; and whatever of the forms on show has changed, in
/// front of the next event or call that changes something, else at the end of the step.
/// "==" begins a new console in a new folder; "#" is a remark.
///
/// `NORVANE_RENEW=1 ctest --preset dev -R Script` writes into all files what comes of them today, and fails.
/// Read the diff like code: a script is a promise to the user.
void PlayScript(const std::string& path);

/// A script at play, as its commands see it.
class Script : public QObject {
 public:
  explicit Script(const std::string& text);
  ~Script() override;

  /// All of it, with what comes of it.
  [[nodiscard]] std::string Play();

  [[nodiscard]] ScriptedConsole& Console() { return *m_console; }
  [[nodiscard]] Trace& Record() { return *m_trace; }
  /// Carries out one command.
  void Act(std::string command);
  /// Does what waits for a timer, with nobody playing on in a window that opens.
  void LetTimeRun(const std::function<void()>& action);
  /// The same, with nothing recorded.
  void DoUnseen(const std::function<void()>& action);
  /// Lets events run until it holds.
  void Await(const std::function<bool()>& holds);
  /// "$name" stands for the text from here on.
  void Define(const std::string& name, const std::string& text) { m_names[name] = text; }
  /// Whether there was a message box since the last step that was no waiting.
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
  bool m_staysOut = false;            ///< of windows that open
  bool m_boxShown = false;
};

}  // namespace norvane::tests
