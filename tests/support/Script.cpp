#include "tests/support/Script.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QScreen>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <algorithm>
#include <filesystem>
#include <optional>
#include <regex>
#include <set>
#include <sstream>

#include "console/FrmStart.h"
#include "console/shared/MainBas.h"
#include "driver/ConsoleUser.h"
#include "loopback/HttpServer.h"
#include "loopback/TempFolder.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/FakeEngine.h"
#include "tests/support/Files.h"
#include "tests/support/FormDump.h"
#include "wizards/FrmAddMonitor.h"

namespace norvane::tests {

namespace {
using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::BoxChoice;
using driver::Part;
using loopback::HttpServer;
using Arguments = std::vector<std::string>;
using Attributes = std::map<std::string, std::string, std::less<>>;

/// In front of a step of which nothing is told.
constexpr std::string_view Quietly = "> quietly ";
constexpr std::size_t LineLength = 110;
constexpr const char* Changes[] = {"SetAttr(", "SetValue(", "Commit", "Open(",    "Load(",  "Save(",
                                   "Add(",     "Remove(",   "Init(",  "Monitor(", "Notify("};

void ReplaceAll(std::string& text, const std::string& what, const std::string& by) {
  if (what.empty()) return;
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
}

/// Set apart by " | "; quotation marks keep blanks at the ends, and "\n" is a line feed.
Arguments Split(std::string text) {
  ReplaceAll(text, "\\r", "\r");
  ReplaceAll(text, "\\n", "\n");
  Arguments parts;
  for (std::size_t from = 0; from <= text.size();) {
    const auto end = std::min(text.find(" | ", from), text.size());
    auto part = text.substr(from, end - from);
    if (part.size() > 1 && part.front() == '"' && part.back() == '"') part = part.substr(1, part.size() - 2);
    parts.push_back(part);
    from = end + 3;
  }
  return parts;
}

/// "Status=Enable", from the argument `from` on.
Attributes ToAttributes(const Arguments& arguments, std::size_t from) {
  Attributes attributes;
  for (auto i = from; i < arguments.size(); ++i) {
    const auto equals = arguments[i].find('=');
    attributes[arguments[i].substr(0, equals)] = arguments[i].substr(equals + 1);
  }
  return attributes;
}

/// A console in a folder of its own.
struct World {
  void Make(const std::function<void()>& endProcess) {
    bas.emplace(engine, dialogs, folder.Path(), endProcess);
    form = std::make_unique<console::FrmStart>(*bas);
  }

  loopback::TempFolder folder;
  HttpServer server;
  FakeEngine engine;
  FakeDialogs dialogs;
  std::optional<console::shared::MainBas> bas;
  std::unique_ptr<console::FrmStart> form;
  std::vector<FakeMonitor> placed;
  std::map<std::string, int> countdown;  ///< to the call that fails
};

class Script : public QObject, private driver::ConsoleUser {
 public:
  explicit Script(const std::string& text);
  ~Script() override { qApp->removeEventFilter(this); }

  /// The script, with what comes of it.
  std::string Play();

 private:
  struct Verb {
    const char* name;
    void (Script::*act)(const Arguments& arguments);
    bool prepares = false;  ///< nothing comes of it
  };
  static const std::vector<Verb>& Verbs();

  void BeginWorld();
  void Step();
  void Act(std::string command);
  [[nodiscard]] bool More() const { return m_next < m_lines.size() && m_lines[m_next].substr(0, 2) != "=="; }

  // What comes of it.
  bool eventFilter(QObject* watched, QEvent* event) override;
  void Emit(const std::string& line);
  void EmitCalls();
  void EmitChanges();
  /// Tells of each page's end.
  void WatchPages();
  void Remember(const QWidget& form, bool tell);
  [[nodiscard]] std::string PlaceOf(const QWidget& window) const;
  [[nodiscard]] std::vector<QWidget*> ShownForms() const;
  [[nodiscard]] std::string Real(std::string text) const;
  [[nodiscard]] std::string Anonymous(std::string text) const;

  /// Plays on while a window stands in the way of the step that opened it.
  void LookForWindow();
  void PlayWhileOpen(QWidget& window);

  // What the world is like.
  void Let(const Arguments& a);
  void Monitor(const Arguments& a);
  void DataFile(const Arguments& a);
  void Set(const Arguments& a);
  void Started(const Arguments& a);
  void DropMonitor(const Arguments& a);
  void File(const Arguments& a);
  void Web(const Arguments& a);
  void Types(const Arguments& a);
  void Pagers(const Arguments& a);
  void Fail(const Arguments& a);
  void FailAlways(const Arguments& a);
  void Mend(const Arguments& a);
  void EndEngine(const Arguments& a);
  void Runner(const Arguments& a);
  void During(const Arguments& a);
  void AnswerBox(const Arguments& a);
  void Choose(const Arguments& a);
  void NoProgram(const Arguments& a);

  // What the user does.
  void Load(const Arguments& a);
  void Tick(const Arguments& a);
  void ClickOnNode(const Arguments& a);
  void OddClick(const Arguments& a);
  void Press(const Arguments& a);
  void Menu(const Arguments& a);
  void Close(const Arguments& a);
  void CloseMenu(const Arguments& a);
  void Push(const Arguments& a);
  void Arrow(const Arguments& a);
  void Type(const Arguments& a);
  void Pick(const Arguments& a);
  void DropDown(const Arguments& a);
  void Focus(const Arguments& a);
  void Key(const Arguments& a);
  void Row(const Arguments& a);
  void ColumnHead(const Arguments& a);
  void Minimise(const Arguments& a);
  void Restore(const Arguments& a);
  void AddMonitor(const Arguments& a);
  void AwaitText(const Arguments& a);
  // What is looked at.
  void Dump(const Arguments& a);
  void DumpWhenShown(const Arguments& a);
  void Stored(const Arguments& a);
  void Files(const Arguments& a);
  void Shared(const Arguments& a);
  void Focused(const Arguments& a);

  [[nodiscard]] QWidget& Window() const override { return *m_world->form; }
  [[nodiscard]] QWidget& FormInFront() const {
    auto* window = QApplication::activeModalWidget();
    return window != nullptr ? *window : Window();
  }
  /// The window in front, the page on show, the main window: the first that has it.
  template <class T = QWidget>
  [[nodiscard]] T& Find(const std::string& name) const;
  void ShowTabOf(const QWidget& control) const;

  std::vector<std::string> m_lines;
  std::size_t m_next = 0;
  std::string m_text;
  std::unique_ptr<World> m_world;
  std::map<std::string, std::string> m_names;
  std::map<std::string, std::string> m_seen;  ///< of the parts of forms
  std::set<const QObject*> m_pages;
  std::set<const QWidget*> m_placed;  ///< windows whose place was told
  std::string m_dumpWhenShown;
  bool m_awaits = false;
  bool m_boxShown = false;  ///< since the last step that is no waiting
  const QWidget* m_modal = nullptr;
};

Script::Script(const std::string& text) {
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    if (line.empty() || line[0] == '>' || line[0] == '#' || line[0] == '=') m_lines.push_back(line);
  qApp->installEventFilter(this);
}

std::string Script::Play() {
  LookForWindow();
  while (m_next < m_lines.size())
    Step();
  m_world.reset();
  return m_text;
}

void Script::BeginWorld() {
  m_world.reset();
  m_world = std::make_unique<World>();
  m_seen.clear();
  m_placed.clear();
  m_dumpWhenShown.clear();
  m_world->dialogs.onEvent = [this](const std::string& event) {
    m_boxShown = m_boxShown || event.starts_with("box");
    Emit(event);
  };
}

void Script::Step() {
  const auto line = m_lines[m_next++];
  m_text += line + "\n";
  if (line.starts_with("==")) BeginWorld();
  if (!line.starts_with("> ")) return;
  m_modal = QApplication::activeModalWidget();
  if (!line.starts_with("> await")) m_boxShown = false;
  const bool quietly = line.starts_with(Quietly);
  const auto before = m_text;
  try {
    Act(line.substr(quietly ? Quietly.size() : 2));
    if (quietly) m_text = before;
  } catch (const std::exception& failure) {
    Emit(std::string("!! ") + failure.what());
  }
}

void Script::Act(std::string command) {
  for (const auto& [name, text] : m_names)
    ReplaceAll(command, "$" + name, text);
  for (const auto& verb : Verbs()) {
    if (!(command + " ").starts_with(verb.name + std::string(" "))) continue;
    const auto rest = command.substr(std::min(command.size(), std::string(verb.name).size() + 1));
    (this->*verb.act)(rest.empty() ? Arguments() : Split(rest));
    if (verb.prepares) return;
    QTest::qWait(0);
    EmitCalls();
    EmitChanges();
    return;
  }
  throw std::logic_error("unknown: " + command);
}

// What comes of it.

std::string Script::Real(std::string text) const {
  ReplaceAll(text, "SERVER", m_world->server.Url(""));
  ReplaceAll(text, "FOLDER", m_world->folder.Path());
  return text;
}

/// Without what differs from run to run.
std::string Script::Anonymous(std::string text) const {
  ReplaceAll(text, m_world->folder.Path(), "FOLDER");
  ReplaceAll(text, m_world->server.Url(""), "SERVER");
  if (m_world->bas) ReplaceAll(text, m_world->bas->MachineName, "MACHINE");
  return std::regex_replace(text, std::regex("Version [0-9]+[.][0-9.]+"), "Version NUMBER");
}

void Script::Emit(const std::string& line) {
  if (!m_world) return;  // it goes
  EmitCalls();
  auto text = Anonymous(line);
  ReplaceAll(text, "\n", "\\n");
  m_text += "  " + text + "\n";
}

/// What changes something stands on a line of its own, what only looks together with its neighbours, so that
/// one call more is one line more in a difference.
void Script::EmitCalls() {
  std::string line;
  const auto endLine = [&] {
    if (!line.empty()) m_text += "  " + std::exchange(line, {}) + "\n";
  };
  for (const auto& call : m_world->engine.TakeCalls()) {
    const auto shown = Anonymous(call);
    const bool alone = std::any_of(std::begin(Changes), std::end(Changes),
                                   [&shown](const char* change) { return shown.starts_with(change); });
    if (alone || shown.starts_with("SetM") || line.size() + shown.size() > LineLength) endLine();
    line += (line.empty() ? "" : ", ") + shown;
    if (alone) endLine();
  }
  endLine();
}

std::vector<QWidget*> Script::ShownForms() const {
  std::vector<QWidget*> forms;
  forms.push_back(m_world->form.get());
  for (const auto& page : m_world->bas->PageForms)
    if (page && page->isVisible()) forms.push_back(page);
  std::map<QString, QWidget*> dialogs;  // Qt gives them in any order
  for (auto* window : QApplication::topLevelWidgets())
    if (window->isVisible() && qobject_cast<QDialog*>(window) != nullptr)
      dialogs[window->objectName()] = window;
  for (const auto& [name, window] : dialogs)
    forms.push_back(window);
  return forms;
}

void Script::Remember(const QWidget& form, bool tell) {
  const auto head = form.objectName().toStdString();
  std::set<std::string> parts;
  for (const auto& [name, text] : StateOf(form)) {
    const auto part = name.empty() ? head : head + "." + name;
    auto& seen = m_seen[part];
    if (tell && seen != text) Emit(part + ": " + (text.empty() ? "on" : text));
    seen = text;
    parts.insert(part);
  }
  std::erase_if(m_seen, [&](const auto& seen) {
    const bool gone = seen.first.starts_with(head + ".") && parts.count(seen.first) == 0;
    if (gone && tell) Emit(seen.first + ": gone");
    return gone;
  });
}

void Script::WatchPages() {
  if (!m_world->bas) return;
  for (const auto& page : m_world->bas->PageForms)
    if (page && m_pages.insert(page).second)
      connect(page, &QObject::destroyed, this, [this, page = page.data(), name = page->objectName()] {
        m_pages.erase(page);
        Emit("unloads " + name.toStdString());
      });
}

void Script::EmitChanges() {
  if (!m_world->form) return;
  WatchPages();
  for (const auto* form : ShownForms()) {
    if (form->isWindow() && form->isVisible() && !form->isMinimized() && m_placed.insert(form).second)
      Emit(form->objectName().toStdString() + " is " + PlaceOf(*form));
    Remember(*form, true);
  }
}

std::string Script::PlaceOf(const QWidget& window) const {
  constexpr int Rounding = 5;
  const auto isIn = [&window](const QRect& area) {
    return (window.frameGeometry().center() - area.center()).manhattanLength() <= Rounding;
  };
  if (isIn(window.screen()->geometry())) return "in the middle of the screen";
  return &window != &Window() && isIn(Window().frameGeometry()) ? "in the middle of FrmStart" : "elsewhere";
}

bool Script::eventFilter(QObject* watched, QEvent* event) {
  if (!m_world) return false;
  // Time stands still; a story says when a timer goes off.
  if (event->type() == QEvent::Timer && watched->objectName() == QLatin1String("Timer1")) return true;
  if (event->type() != QEvent::Show && event->type() != QEvent::Hide) return false;
  auto* widget = qobject_cast<QWidget*>(watched);
  if (widget == nullptr || widget->objectName().isEmpty() || event->spontaneous()) return false;
  const bool shows = event->type() == QEvent::Show;
  const auto name = widget->objectName().toStdString();
  if (qobject_cast<console::shared::Page*>(widget) != nullptr)
    Emit((shows ? "shows " : "hides ") + name);
  else if (widget->isWindow() && widget->windowType() != Qt::ToolTip)
    Emit((shows ? "opens " : "closes ") + name + (shows && widget->isModal() ? " modally" : ""));
  else
    return false;
  if (shows && m_seen.count(name) == 0) Remember(*widget, false);
  if (shows && m_dumpWhenShown == name) m_text += Anonymous(DumpOf(*widget));
  if (!shows) m_placed.erase(widget);
  if (!shows && widget->isWindow() && widget != m_world->form.get()) m_seen.erase(name);
  return false;
}

void Script::LookForWindow() {
  QTimer::singleShot(1, this, [this] {
    LookForWindow();
    auto* window = QApplication::activeModalWidget();
    if (window != nullptr && window != m_modal && !m_awaits) PlayWhileOpen(*window);
  });
}

void Script::PlayWhileOpen(QWidget& window) {
  const QPointer<QWidget> open(&window);
  EmitCalls();
  EmitChanges();
  while (open && open->isVisible() && More())
    Step();
  if (open && open->isVisible()) open->close();
  m_modal = QApplication::activeModalWidget();
}

// What the world is like.

/// "let shop be ...": "$shop" stands for the rest from here on.
void Script::Let(const Arguments& a) {
  const auto be = a[0].find(" be ");
  auto& text = m_names[a[0].substr(0, be)] = a[0].substr(be + 4);
  for (std::size_t i = 1; i < a.size(); ++i)
    text += " | " + a[i];
}

void Script::Monitor(const Arguments& a) {
  auto attributes = ToAttributes(a, 1);
  const int kind = attributes.count("kind") != 0 ? std::stoi(attributes["kind"]) : 0;
  attributes.erase("kind");
  m_world->engine.Place(a[0], attributes, kind);
  m_world->placed.push_back({.name = a[0], .attributes = attributes, .kind = kind});
}

/// The monitors so far are in the data file alone.
void Script::DataFile(const Arguments& /*a*/) {
  for (const auto& monitor : m_world->placed)
    m_world->engine.Drop(monitor.name);
  const auto path = WriteFile(m_world->folder / "NorvaneEngine.dat", "monitors");
  m_world->engine.Files()[path] = std::exchange(m_world->placed, {});
}

/// A console that has started as the story of the start tells.
void Script::Started(const Arguments& /*a*/) {
  m_world->Make([this] { Emit("the process ends"); });
  m_awaits = true;
  const auto before = m_text;
  driver::LoadForm(*m_world->form);
  m_text = before;
  m_awaits = false;
  (void)m_world->engine.TakeCalls();
  WatchPages();
  m_world->form->move(m_world->form->pos() / 2);  // now its middle is not that of the screen
  m_placed.insert(m_world->form.get());
  Remember(*m_world->form, false);
}

void Script::Set(const Arguments& a) {
  for (const auto& [key, value] : ToAttributes(a, 1))
    m_world->engine.At(a[0]).attributes[key] = value;
}

void Script::DropMonitor(const Arguments& a) {
  m_world->engine.Drop(a[0]);
}

void Script::File(const Arguments& a) {
  if (a.size() > 1)
    WriteFile(m_world->folder / a[0], Real(a[1]));
  else
    std::filesystem::remove(m_world->folder / a[0]);
}

void Script::Web(const Arguments& a) {
  if (a.size() > 1)
    m_world->server.Set(a[0], HttpServer::Reply(a[1]));
  else
    m_world->server.Set(a[0], {"", "", std::chrono::milliseconds(0), HttpServer::End::Silence});
}

void Script::Types(const Arguments& a) {
  m_world->engine.Types() = a;
}

void Script::Pagers(const Arguments& a) {
  m_world->bas->PagerTypes = a;
}

/// The next call of an operation, or the n-th from now on.
void Script::Fail(const Arguments& a) {
  auto& engine = m_world->engine;
  m_world->countdown[a[0]] = a.size() > 1 ? std::stoi(a[1]) : 1;
  engine.During(a[0], [this, operation = a[0], &engine] {
    if (--m_world->countdown[operation] == 0)
      engine.FailOnce(operation, EngineError(EngineErrorCode::Failed, "broken"));
  });
}

void Script::FailAlways(const Arguments& a) {
  m_world->engine.FailAlways(a[0], EngineError(EngineErrorCode::Failed, "broken"));
}

void Script::Mend(const Arguments& a) {
  m_world->engine.Mend(a[0]);
}

void Script::EndEngine(const Arguments& /*a*/) {
  m_world->engine.EndEngine();
}

/// What a run of the engine's gives: "Notify | -1 | the monitor that comes back".
void Script::Runner(const Arguments& a) {
  auto& engine = m_world->engine;
  auto& answer = a[0] == "Init"      ? engine.initAnswer
                 : a[0] == "Monitor" ? engine.monitorAnswer
                                     : engine.notifyAnswer;
  answer = {.result = std::stoi(a[1]), .replaceBy = a.size() > 2 ? a[2] : ""};
}

/// Something happens inside the next call of an operation, or the n-th from now on.
void Script::During(const Arguments& a) {
  auto left = std::make_shared<int>(a.size() > 2 ? std::stoi(a[2]) : 1);
  m_world->engine.During(a[0], [this, command = a[1], left] {
    if (--*left != 0) return;
    Emit("meanwhile: " + command);
    Act(command);
  });
}

void Script::AnswerBox(const Arguments& a) {
  m_world->dialogs.Announce(a[0] == "Yes" ? BoxChoice::Yes : BoxChoice::No);
}

void Script::Choose(const Arguments& a) {
  m_world->dialogs.AnnounceFile(a.empty() ? std::nullopt : std::optional(a[0]));
}

void Script::NoProgram(const Arguments& /*a*/) {
  m_world->dialogs.openFindsFile = false;
}

// What the user does.

template <class T>
T& Script::Find(const std::string& name) const {
  auto forms = ShownForms();
  if (auto* window = QApplication::activeModalWidget()) forms = {window};
  for (auto form = forms.rbegin(); form != forms.rend(); ++form)
    if (auto* part = (*form)->findChild<T*>(QString::fromStdString(name))) return *part;
  throw std::logic_error("no control of this name is on show: " + name);
}

void Script::ShowTabOf(const QWidget& control) const {
  for (const auto* form : ShownForms())
    for (auto* tabs : form->findChildren<QTabWidget*>())
      for (int tab = 0; tab < tabs->count(); ++tab)
        if (tabs->widget(tab)->isAncestorOf(&control)) tabs->setCurrentIndex(tab);
}

void Script::Load(const Arguments& a) {
  m_world->Make([this] { Emit("the process ends"); });
  if (!a.empty()) m_world->form->setWindowState(Qt::WindowMinimized);
  Remember(*m_world->form, false);
  m_world->form->Form_Load();
}

/// A timer of the form in front goes off.
void Script::Tick(const Arguments& /*a*/) {
  auto& timer = Part<QTimer>(FormInFront(), "Timer1");
  QMetaObject::invokeMethod(&timer, "timeout");
}

void Script::ClickOnNode(const Arguments& a) {
  ClickNode(a.empty() ? "" : a[0]);
}

void Script::OddClick(const Arguments& a) {
  auto& tree = Control<QTreeView>("TvCtrl");
  const auto place =
      a[1].empty() ? QPoint(5, tree.viewport()->height() - 5) : tree.visualRect(NodeIndex(a[1])).center();
  const auto button = a[0] == "right" ? Qt::RightButton : Qt::LeftButton;
  const auto modifier = a[0] == "Control" ? Qt::ControlModifier
                        : a[0] == "Shift" ? Qt::ShiftModifier
                                          : Qt::NoModifier;
  QTest::mouseClick(tree.viewport(), button, modifier, place);
}

void Script::Press(const Arguments& a) {
  PressButton(a[0].c_str());
}

void Script::Menu(const Arguments& a) {
  Control<QAction>(a[0].c_str()).trigger();
}

void Script::Close(const Arguments& /*a*/) {
  FormInFront().close();
}

void Script::CloseMenu(const Arguments& /*a*/) {
  QApplication::activePopupWidget()->close();
}

void Script::Push(const Arguments& a) {
  auto& control = Find(a[0]);
  ShowTabOf(control);
  constexpr int InsideTheMark = 8;  // of a check box, whose caption may end before its middle
  QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(InsideTheMark, control.height() / 2));
}

/// "Up" or "Down" of a spinner.
void Script::Arrow(const Arguments& a) {
  auto& spinner = Find(a[1]);
  ShowTabOf(spinner);
  QTest::mouseClick(&Part<QToolButton>(spinner, a[0].c_str()), Qt::LeftButton);
}

void Script::Type(const Arguments& a) {
  Find<QLineEdit>(a[0]).setText(QString::fromStdString(a.size() > 1 ? Real(a[1]) : ""));
}

void Script::Pick(const Arguments& a) {
  Find<QComboBox>(a[0]).setCurrentIndex(std::stoi(a[1]));
}

void Script::DropDown(const Arguments& a) {
  auto& list = Find<QComboBox>(a[0]);
  ShowTabOf(list);
  list.showPopup();
  list.hidePopup();
}

void Script::Focus(const Arguments& a) {
  auto& control = Find(a[0]);
  ShowTabOf(control);
  control.window()->activateWindow();
  control.setFocus(Qt::MouseFocusReason);
}

/// "Alt+O", "Space": to the control with the focus.
void Script::Key(const Arguments& a) {
  const auto sequence = QKeySequence(QString::fromStdString(a[0]))[0];
  auto& window = FormInFront();
  auto* control = window.focusWidget() != nullptr ? window.focusWidget() : &window;
  QTest::keyClick(control, sequence.key(), sequence.keyboardModifiers());
}

void Script::Row(const Arguments& a) {
  auto& list = Control<QTreeView>("LstV");
  const auto row = list.model()->index(std::stoi(a[0]) - 1, 3);
  QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, list.visualRect(row).topLeft() + QPoint(5, 5));
}

void Script::ColumnHead(const Arguments& a) {
  auto& header = *Control<QTreeView>("LstV").header();
  QTest::mouseClick(header.viewport(), Qt::LeftButton, {},
                    QPoint(header.sectionViewportPosition(std::stoi(a[0]) - 1) + 10, header.height() / 2));
}

void Script::Minimise(const Arguments& /*a*/) {
  Window().showMinimized();
}

void Script::Restore(const Arguments& /*a*/) {
  Window().showNormal();
}

/// No command opens this dialog.
void Script::AddMonitor(const Arguments& /*a*/) {
  wizards::FrmAddMonitor(*m_world->bas, &Window()).exec();
}

/// Until a control has this text, a window of this name is open, or a box was.
void Script::AwaitText(const Arguments& a) {
  m_awaits = true;
  const bool came = QTest::qWaitFor(
      [this, &a] {
        if (a[0] == "a box") return m_boxShown;
        if (a.size() == 1) {
          const auto* window = QApplication::activeModalWidget();
          return window != nullptr && window->objectName().toStdString() == a[0];
        }
        for (const auto* form : ShownForms())
          for (const auto& [name, text] : StateOf(*form))
            if (name == a[0] && text.starts_with('"' + a[1] + '"')) return true;
        return false;
      },
      60000);
  m_awaits = false;
  if (!came) Emit("!! it did not come");
}

// What is looked at.

void Script::Dump(const Arguments& a) {
  for (const auto* form : ShownForms())
    if (form->objectName().toStdString() == a[0]) m_text += Anonymous(DumpOf(*form));
}

/// Before anything has been read into it.
void Script::DumpWhenShown(const Arguments& a) {
  m_dumpWhenShown = a[0];
}

/// The attributes of a monitor.
void Script::Stored(const Arguments& a) {
  for (const auto& [key, value] : m_world->engine.At(a[0]).attributes)
    Emit(key + " = \"" + value + '"');
}

/// What lies in the application folder.
void Script::Files(const Arguments& /*a*/) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(m_world->folder.Path()))
    names.insert(entry.path().filename().string() + (entry.is_directory() ? "/" : ""));
  for (const auto& name : names)
    Emit(name);
}

/// What the shared objects stand for.
void Script::Shared(const Arguments& /*a*/) {
  const auto nameOf = [](const auto& itemOf) -> std::string {
    try {
      const auto item = itemOf();
      return item ? item->Name() : "none";
    } catch (const EngineError&) {
      return "none any more";
    }
  };
  auto& bas = *m_world->bas;
  const auto line = "CurrentMonitor: " + nameOf([&bas] { return bas.CurrentMonitor; }) +
                    ", CurrentRef: " + nameOf([&bas] { return bas.CurrentRef->GetMonitor(); });
  (void)m_world->engine.TakeCalls();
  Emit(line);
}

void Script::Focused(const Arguments& /*a*/) {
  const auto* control = QApplication::focusWidget();
  Emit("focus: " + (control != nullptr ? control->objectName().toStdString() : "none"));
}

const std::vector<Script::Verb>& Script::Verbs() {
  static const std::vector<Verb> verbs = {
      {"let", &Script::Let, true},
      {"monitor", &Script::Monitor, true},
      {"all in the data file", &Script::DataFile, true},
      {"started", &Script::Started, true},
      {"set", &Script::Set, true},
      {"drop monitor", &Script::DropMonitor, true},
      {"file", &Script::File, true},
      {"web", &Script::Web, true},
      {"engine's types", &Script::Types, true},
      {"pager types", &Script::Pagers, true},
      {"fail always", &Script::FailAlways, true},
      {"fail", &Script::Fail, true},
      {"mend", &Script::Mend, true},
      {"end of the engine", &Script::EndEngine, true},
      {"runner", &Script::Runner, true},
      {"during", &Script::During, true},
      {"answer", &Script::AnswerBox, true},
      {"choose", &Script::Choose, true},
      {"no program for files", &Script::NoProgram, true},
      {"dump when shown", &Script::DumpWhenShown, true},
      {"load", &Script::Load},
      {"tick", &Script::Tick},
      {"click", &Script::ClickOnNode},
      {"odd click", &Script::OddClick},
      {"press", &Script::Press},
      {"menu", &Script::Menu},
      {"close menu", &Script::CloseMenu},
      {"close", &Script::Close},
      {"push", &Script::Push},
      {"arrow", &Script::Arrow},
      {"type", &Script::Type},
      {"pick", &Script::Pick},
      {"drop down", &Script::DropDown},
      {"focus", &Script::Focus},
      {"key", &Script::Key},
      {"row", &Script::Row},
      {"column", &Script::ColumnHead},
      {"minimise", &Script::Minimise},
      {"restore", &Script::Restore},
      {"add monitor", &Script::AddMonitor},
      {"await", &Script::AwaitText},
      {"dump", &Script::Dump},
      {"stored", &Script::Stored},
      {"files", &Script::Files},
      {"shared objects", &Script::Shared},
      {"focused", &Script::Focused},
  };
  return verbs;
}
}  // namespace

void PlayScript(const std::string& path) {
  const auto expected = ReadFile(path);
  const auto actual = Script(expected).Play();
  if (actual == expected) return;
  if (std::getenv("NORVANE_RENEW") != nullptr) {
    WriteFile(path, actual);
    FAIL() << "renewed " << path;
  }
  const auto lines = [](const std::string& text) {
    std::vector<std::string> all;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
      all.push_back(line);
    return all;
  };
  ADD_FAILURE() << path << " tells it another way (-) than it is (+):\n"
                << ::testing::internal::edit_distance::CreateUnifiedDiff(lines(expected), lines(actual));
}

}  // namespace norvane::tests
