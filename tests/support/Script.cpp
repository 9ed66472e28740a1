#include "tests/support/Script.h"

#include <gtest/gtest.h>

#include <QPointer>
#include <QTest>
#include <QTimer>
#include <cstdlib>
#include <sstream>

#include "tests/support/Files.h"
#include "tests/support/ScriptCommands.h"

namespace norvane::tests {

namespace {
constexpr std::string_view Scene = "==";
constexpr std::string_view Command = "> ";
/// In front of a step whose trace is left out.
constexpr std::string_view Quietly = "> quietly ";
constexpr int PatienceMilliseconds = 60000;

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return lines;
}
}  // namespace

Script::Script(const std::string& text) : m_lines(LinesOf(text)) {
  std::erase_if(m_lines, [](const std::string& line) {
    return !line.empty() && std::string_view("=>#").find(line[0]) == std::string_view::npos;
  });
}

Script::~Script() {
  EndScene();
}

std::string Script::Play() {
  LookForWindow();
  while (m_next < m_lines.size())
    Step();
  EndScene();
  return m_text;
}

void Script::BeginScene() {
  EndScene();
  m_console = std::make_unique<ScriptedConsole>();
  m_trace = std::make_unique<Trace>(*m_console, m_text);
  m_console->dialogs.onEvent = [this](const std::string& event) {
    if (event.starts_with("box")) m_boxShown = true;
    m_trace->AddAfterChanges(event);
  };
}

/// What happens while a console is destroyed is not traced.
void Script::EndScene() {
  m_trace.reset();
  m_console.reset();
}

bool Script::SceneGoesOn() const {
  return m_next < m_lines.size() && !m_lines[m_next].starts_with(Scene);
}

void Script::Step() {
  const auto line = m_lines[m_next++];
  m_text += line + "\n";
  if (line.starts_with(Scene)) BeginScene();
  if (!line.starts_with(Command)) return;
  m_window = QApplication::activeModalWidget();
  if (!line.starts_with("> await")) m_boxShown = false;
  const bool quietly = line.starts_with(Quietly);
  const auto before = m_text;
  try {
    Act(line.substr(quietly ? Quietly.size() : Command.size()));
    if (quietly) m_text = before;
  } catch (const std::exception& failure) {
    m_text += std::string("  !! ") + failure.what() + "\n";
  }
}

void Script::Act(std::string command) {
  for (const auto& [name, text] : m_names)
    ReplaceAll(command, "$" + name, text);
  // However slow the machine is, a page comes when it is awaited, or where the step itself waits for it.
  if (m_console)
    m_console->engine.holdsFetches = !command.starts_with("await") && !command.starts_with("drop down");
  if (!RunCommand(*this, command)) return;
  QTest::qWait(0);
  m_trace->AddChanges();
}

void Script::RunUntraced(const std::function<void()>& action) {
  const auto before = m_text;
  LetTimeRun(action);
  m_text = before;
}

void Script::LetTimeRun(const std::function<void()>& action) {
  m_staysOut = true;
  m_trace->LetTimeRun(true);
  action();
  m_trace->LetTimeRun(false);
  m_staysOut = false;
}

void Script::Await(const std::function<bool()>& holds) {
  LetTimeRun([&] {
    if (!QTest::qWaitFor(holds, PatienceMilliseconds)) m_trace->Add("!! it did not come");
  });
}

/// A step that opens a window may return only when that is closed, by later steps.
void Script::LookForWindow() {
  QTimer::singleShot(1, this, [this] {
    LookForWindow();
    auto* window = QApplication::activeModalWidget();
    if (window != nullptr && window != m_window && !m_staysOut) PlayWhileOpen(*window);
  });
}

void Script::PlayWhileOpen(QWidget& window) {
  const QPointer<QWidget> open(&window);
  m_trace->AddChanges();
  while (open && open->isVisible() && SceneGoesOn())
    Step();
  if (open && open->isVisible()) open->close();
  m_window = QApplication::activeModalWidget();
}

void PlayScript(const std::string& path) {
  const auto expected = ReadFile(path);
  const auto actual = Script(expected).Play();
  if (actual == expected) return;
  if (std::getenv("NORVANE_RENEW") != nullptr) {
    WriteFile(path, actual);
    FAIL() << "renewed " << path;
  }
  ADD_FAILURE() << path << ": expected (-) and actual (+) differ:\n"
                << ::testing::internal::edit_distance::CreateUnifiedDiff(LinesOf(expected), LinesOf(actual));
}

}  // namespace norvane::tests
