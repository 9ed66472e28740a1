#include "tests/support/ScriptCommands.h"

#include <QAction>
#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <filesystem>

#include "tests/support/Files.h"
#include "tests/support/FormDump.h"
#include "tests/support/Script.h"
#include "wizards/FrmAddMonitor.h"

namespace norvane::tests {

namespace {
using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::BoxChoice;
using driver::Part;
/// Of a command, set apart by " | ".
using Arguments = std::vector<std::string>;
using Attributes = std::map<std::string, std::string, std::less<>>;

constexpr std::string_view Separator = " | ";

const EngineError Broken(EngineErrorCode::Failed, "broken");

/// Quotation marks keep blanks at the ends, "\n" is a line feed.
Arguments Split(std::string text) {
  ReplaceAll(text, "\\r", "\r");
  ReplaceAll(text, "\\n", "\n");
  Arguments parts;
  for (std::size_t from = 0; from <= text.size();) {
    const auto end = std::min(text.find(Separator, from), text.size());
    auto part = text.substr(from, end - from);
    if (part.size() > 1 && part.front() == '"' && part.back() == '"') part = part.substr(1, part.size() - 2);
    parts.push_back(part);
    from = end + Separator.size();
  }
  return parts;
}

/// "Status=Enable", from the second argument on.
Attributes ToAttributes(const Arguments& arguments) {
  Attributes attributes;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const auto equals = arguments[i].find('=');
    attributes[arguments[i].substr(0, equals)] = arguments[i].substr(equals + 1);
  }
  return attributes;
}

std::string At(const Arguments& arguments, std::size_t index, const std::string& otherwise = "") {
  return index < arguments.size() ? arguments[index] : otherwise;
}

// Conditions.

void Let(Script& script, const Arguments& a) {
  const auto be = a[0].find(" be ");
  auto text = a[0].substr(be + 4);
  for (std::size_t i = 1; i < a.size(); ++i)
    text += std::string(Separator) + a[i];
  script.Define(a[0].substr(0, be), text);
}

/// "kind=1" is no attribute.
void Monitor(Script& script, const Arguments& a) {
  FakeMonitor monitor{.name = a[0], .attributes = ToAttributes(a)};
  monitor.kind = static_cast<int>(monitor.attributes.erase("kind"));
  script.Console().engine.Place(monitor.name, monitor.attributes, monitor.kind);
  script.Console().placed.push_back(monitor);
}

/// The monitors so far are in the data file alone.
void AllInTheDataFile(Script& script, const Arguments& /*a*/) {
  auto& console = script.Console();
  for (const auto& monitor : console.placed)
    console.engine.Drop(monitor.name);
  const auto path = WriteFile(console.folder / "NorvaneEngine.dat", "monitors");
  console.engine.Files()[path] = std::exchange(console.placed, {});
}

void CreateConsole(Script& script) {
  script.Console().Create([&script] { script.Record().AddAfterChanges("the process ends"); });
}

/// A console that has started as start.txt tells.
void Started(Script& script, const Arguments& /*a*/) {
  CreateConsole(script);
  auto& form = *script.Console().form;
  script.RunUntraced([&form] { driver::LoadForm(form); });
  form.move(form.pos() / 2);  // now its middle is not that of the screen
  script.Record().RememberAll();
}

void Set(Script& script, const Arguments& a) {
  for (const auto& [key, value] : ToAttributes(a))
    script.Console().engine.At(a[0]).attributes[key] = value;
}

/// Without a content the file goes.
void File(Script& script, const Arguments& a) {
  const auto path = script.Console().folder / a[0];
  if (a.size() > 1)
    WriteFile(path, script.Console().Resolved(a[1]));
  else
    std::filesystem::remove(path);
}

/// Without a body the server is silent.
void Web(Script& script, const Arguments& a) {
  const bool isSilent = a.size() < 2;
  script.Console().engine.Pages()[ScriptedConsole::Server + a[0]] = {.body = isSilent ? "" : a[1],
                                                                     .isComplete = !isSilent};
}

/// "Notify | -1 | the monitor that comes back".
void Runner(Script& script, const Arguments& a) {
  auto& engine = script.Console().engine;
  auto& answer = a[0] == "Init"      ? engine.initAnswer
                 : a[0] == "Monitor" ? engine.monitorAnswer
                                     : engine.notifyAnswer;
  answer = {.result = std::stoi(a[1]), .replaceBy = At(a, 2)};
}

/// The next call of an operation, or the n-th from now on.
void Fail(Script& script, const Arguments& a) {
  script.Console().engine.FailOnce(a[0], Broken, std::stoi(At(a, 1, "1")));
}

/// The same: something happens inside that call.
void During(Script& script, const Arguments& a) {
  const auto left = std::make_shared<int>(std::stoi(At(a, 2, "1")));
  script.Console().engine.During(a[0], [&script, command = a[1], left] {
    if (--*left != 0) return;
    script.Record().Add("meanwhile: " + command);
    script.Act(command);
  });
}

void AnswerBox(Script& script, const Arguments& a) {
  script.Console().dialogs.Announce(a[0] == "Yes" ? BoxChoice::Yes : BoxChoice::No);
}

void ChooseFile(Script& script, const Arguments& a) {
  script.Console().dialogs.AnnounceFile(a.empty() ? std::nullopt : std::optional(a[0]));
}

// Actions of the user.

/// "minimised" is the one argument.
void Load(Script& script, const Arguments& a) {
  CreateConsole(script);
  auto& form = *script.Console().form;
  if (!a.empty()) form.setWindowState(Qt::WindowMinimized);
  script.Record().Remember(form);
  form.Form_Load();
}

/// The timer of the form in front goes off.
void Tick(Script& script, const Arguments& /*a*/) {
  QMetaObject::invokeMethod(&Part<QTimer>(script.Console().FormInFront(), "Timer1"), "timeout");
}

/// The console follows what others have done to the monitors.
void Update(Script& script, const Arguments& /*a*/) {
  script.Console().engine.Update();
  script.Console().FollowChanges();
}

/// "right", "Control", "Shift", or "space" for below all nodes.
void OddClick(Script& script, const Arguments& a) {
  auto& tree = script.Console().Control<QTreeView>("TvCtrl");
  const auto place = a[0] == "space" ? QPoint(5, tree.viewport()->height() - 5)
                                     : tree.visualRect(script.Console().NodeIndex(a[1])).center();
  const auto modifier = a[0] == "Control" ? Qt::ControlModifier
                        : a[0] == "Shift" ? Qt::ShiftModifier
                                          : Qt::NoModifier;
  QTest::mouseClick(tree.viewport(), a[0] == "right" ? Qt::RightButton : Qt::LeftButton, modifier, place);
}

void Push(Script& script, const Arguments& a) {
  auto& control = script.Console().Show(a[0]);
  constexpr int InsideTheMark = 8;  // of a check box, whose caption may end before its middle
  QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(InsideTheMark, control.height() / 2));
}

/// "Up" or "Down" of a spinner.
void Arrow(Script& script, const Arguments& a) {
  QTest::mouseClick(&Part<QToolButton>(script.Console().Show(a[1]), a[0].c_str()), Qt::LeftButton);
}

void Type(Script& script, const Arguments& a) {
  auto& field = script.Console().Find<QLineEdit>(a[0]);
  field.setText(QString::fromStdString(script.Console().Resolved(At(a, 1))));
}

void DropDown(Script& script, const Arguments& a) {
  auto& list = script.Console().Show<QComboBox>(a[0]);
  script.LetTimeRun([&list] { list.showPopup(); });  // which may ask the gateway
  list.hidePopup();
}

void Focus(Script& script, const Arguments& a) {
  auto& control = script.Console().Show(a[0]);
  control.window()->activateWindow();
  control.setFocus(Qt::MouseFocusReason);
}

/// "Alt+O", "Space": to the control with the focus.
void Key(Script& script, const Arguments& a) {
  const auto key = QKeySequence(QString::fromStdString(a[0]))[0];
  auto& window = script.Console().FormInFront();
  auto* control = window.focusWidget() != nullptr ? window.focusWidget() : &window;
  QTest::keyClick(control, key.key(), key.keyboardModifiers());
}

/// Of the list, by its number from 1; so for a column.
void ClickRow(Script& script, const Arguments& a) {
  auto& list = script.Console().Control<QTreeView>("LstV");
  const auto row = list.model()->index(std::stoi(a[0]) - 1, 3);
  QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, list.visualRect(row).topLeft() + QPoint(5, 5));
}

void ClickColumn(Script& script, const Arguments& a) {
  const auto& header = *script.Console().Control<QTreeView>("LstV").header();
  const int left = header.sectionViewportPosition(std::stoi(a[0]) - 1);
  QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, QPoint(left + 10, header.height() / 2));
}

/// Until a control has this text, a window of this name is open, or there was "a box".
void Await(Script& script, const Arguments& a) {
  script.Await([&script, &a] {
    if (a[0] == "a box") return script.BoxShown();
    if (a.size() == 1) return script.Console().FormInFront().objectName().toStdString() == a[0];
    for (const auto* form : script.Console().Forms())
      for (const auto& [name, text] : StateOf(*form))
        if (name == a[0] && text.starts_with('"' + a[1] + '"')) return true;
    return false;
  });
}

// Inspection.

void Dump(Script& script, const Arguments& a) {
  for (const auto* form : script.Console().Forms())
    if (form->objectName().toStdString() == a[0]) script.Record().Dump(*form);
}

/// The attributes of a monitor.
void Stored(Script& script, const Arguments& a) {
  for (const auto& [key, value] : script.Console().engine.At(a[0]).attributes)
    script.Record().Add(key + " = \"" + value + '"');
}

/// The monitors that the shared objects refer to.
void SharedObjects(Script& script, const Arguments& /*a*/) {
  const auto nameOf = [](const auto& itemOf) -> std::string {
    try {
      const auto item = itemOf();
      return item ? item->Name() : "none";
    } catch (const EngineError&) {
      return "none any more";
    }
  };
  auto& bas = *script.Console().bas;
  const auto line = "CurrentMonitor: " + nameOf([&bas] { return bas.CurrentMonitor; }) +
                    ", CurrentRef: " + nameOf([&bas] { return bas.CurrentRef->GetMonitor(); });
  (void)script.Console().engine.TakeCalls();
  script.Record().Add(line);
}

void Focused(Script& script, const Arguments& /*a*/) {
  const auto* control = QApplication::focusWidget();
  script.Record().Add("focus: " + (control != nullptr ? control->objectName().toStdString() : "none"));
}

struct Verb {
  std::string_view name;
  bool prepares;  ///< has no trace
  void (*act)(Script& script, const Arguments& arguments);
};

// Of two that begin alike the longer one comes first.
constexpr Verb Verbs[] = {
    {"let", true, Let},
    {"monitor", true, Monitor},
    {"all in the data file", true, AllInTheDataFile},
    {"started", true, Started},
    {"set", true, Set},
    {"removed", true, [](Script& s, const Arguments& a) { s.Console().engine.Drop(a[0]); }},
    {"file", true, File},
    {"web", true, Web},
    {"engine's types", true, [](Script& s, const Arguments& a) { s.Console().engine.Types() = a; }},
    {"pager types", true, [](Script& s, const Arguments& a) { s.Console().bas->PagerTypes = a; }},
    {"fail", true, Fail},
    {"end of the engine", true, [](Script& s, const Arguments&) { s.Console().engine.EndEngine(); }},
    {"runner", true, Runner},
    {"during", true, During},
    {"answer", true, AnswerBox},
    {"choose", true, ChooseFile},
    {"no program for files", true,
     [](Script& s, const Arguments&) { s.Console().dialogs.openFindsFile = false; }},
    {"dump when shown", true, [](Script& s, const Arguments& a) { s.Record().DumpWhenShown(a[0]); }},

    {"load", false, Load},
    {"tick", false, Tick},
    {"update", false, Update},
    {"click", false, [](Script& s, const Arguments& a) { s.Console().ClickNode(At(a, 0)); }},
    {"odd click", false, OddClick},
    {"press", false, [](Script& s, const Arguments& a) { s.Console().PressButton(a[0].c_str()); }},
    {"menu", false,
     [](Script& s, const Arguments& a) { s.Console().Control<QAction>(a[0].c_str()).trigger(); }},
    {"close menu", false, [](Script&, const Arguments&) { QApplication::activePopupWidget()->close(); }},
    {"close", false, [](Script& s, const Arguments&) { s.Console().FormInFront().close(); }},
    {"push", false, Push},
    {"arrow", false, Arrow},
    {"type", false, Type},
    {"pick", false,
     [](Script& s, const Arguments& a) {
       s.Console().Find<QComboBox>(a[0]).setCurrentIndex(std::stoi(a[1]));
     }},
    {"drop down", false, DropDown},
    {"focus", false, Focus},
    {"key", false, Key},
    {"row", false, ClickRow},
    {"column", false, ClickColumn},
    {"minimise", false, [](Script& s, const Arguments&) { s.Console().Window().showMinimized(); }},
    {"restore", false, [](Script& s, const Arguments&) { s.Console().Window().showNormal(); }},
    // No command of the console opens this dialog.
    {"add monitor", false,
     [](Script& s, const Arguments&) {
       wizards::FrmAddMonitor(*s.Console().bas, &s.Console().Window()).exec();
     }},
    {"await", false, Await},

    {"dump", false, Dump},
    {"stored", false, Stored},
    {"shared objects", false, SharedObjects},
    {"focused", false, Focused},
};
}  // namespace

bool RunCommand(Script& script, const std::string& command) {
  for (const auto& verb : Verbs) {
    const bool isIt = command == verb.name || command.starts_with(std::string(verb.name) + ' ');
    if (!isIt) continue;
    const bool bare = command.size() == verb.name.size();
    verb.act(script, bare ? Arguments() : Split(command.substr(verb.name.size() + 1)));
    return !verb.prepares;
  }
  throw std::logic_error("no such command: " + command);
}

}  // namespace norvane::tests
