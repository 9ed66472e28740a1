#include "tests/support/Trace.h"

#include <QEvent>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <filesystem>
#include <utility>

#include "console/shared/Page.h"
#include "tests/support/FormDump.h"

namespace norvane::tests {

namespace {
constexpr std::size_t LineLength = 110;
constexpr const char* Changes[] = {"SetAttr(", "SetValue(", "Commit", "Open(",    "Load(",   "Save(",
                                   "Add(",     "Remove(",   "Init(",  "Monitor(", "Notify(", "Fetch("};

bool IsChange(const std::string& call) {
  return std::any_of(std::begin(Changes), std::end(Changes),
                     [&call](const char* change) { return call.starts_with(change); });
}

bool BeginsLine(const std::string& call) {
  return IsChange(call) || call.starts_with("SetM") || call.starts_with("New ");
}
}  // namespace

Trace::Trace(ScriptedConsole& console, std::string& text) : m_console(console), m_text(text) {
  qApp->installEventFilter(this);
  m_console.engine.onCall = [this](const std::string& call) {
    if (BeginsLine(call)) AddChanges();
  };
}

Trace::~Trace() {
  m_console.engine.onCall = nullptr;
  qApp->removeEventFilter(this);
}

void Trace::Add(const std::string& line) {
  AddCalls();
  auto text = m_console.Anonymous(line);
  ReplaceAll(text, "\n", "\\n");
  m_text += "  " + text + "\n";
}

/// A change has a line of its own, so that one call more is one line more in a diff.
void Trace::AddCalls() {
  std::string line;
  const auto endLine = [&] {
    if (!line.empty()) m_text += "  " + std::exchange(line, {}) + "\n";
  };
  for (const auto& call : m_console.engine.TakeCalls()) {
    const auto shown = m_console.Anonymous(call);
    if (BeginsLine(shown) || line.size() + shown.size() > LineLength) endLine();
    line += (line.empty() ? "" : ", ") + shown;
    if (IsChange(shown)) endLine();
  }
  endLine();
}

void Trace::AddChangesBut(const QWidget* opening) {
  AddCalls();
  AddFolders();
  WatchPages();
  for (const auto* form : m_console.Forms()) {
    if (form == opening) continue;
    ComparePlace(*form, true);
    Compare(*form, true);
  }
}

void Trace::AddFolders() {
  for (const auto& entry : std::filesystem::directory_iterator(m_console.folder.Path()))
    if (entry.is_directory() && m_folders.insert(entry.path()).second)
      Add("makes the folder " + entry.path().filename().string());
}

void Trace::ComparePlace(const QWidget& window, bool report) {
  const bool isPlaced = window.isVisible() && !window.isMinimized() && window.testAttribute(Qt::WA_Moved);
  if (!window.isWindow() || !isPlaced) return;
  const auto place = PlaceOf(window);
  auto& seen = m_places[&window];
  if (report && seen != place) Add(window.objectName().toStdString() + " is " + place);
  seen = place;
}

void Trace::AddAfterChanges(const std::string& line) {
  AddChanges();
  Add(line);
}

void Trace::RememberAll() {
  (void)m_console.engine.TakeCalls();
  WatchPages();
  for (const auto* form : m_console.Forms()) {
    ComparePlace(*form, false);
    Remember(*form);
  }
}

void Trace::Dump(const QWidget& form) {
  m_text += m_console.Anonymous(DumpOf(form));
}

void Trace::Compare(const QWidget& form, bool report) {
  const auto head = form.objectName().toStdString();
  std::set<std::string> parts;
  for (const auto& [name, text] : StateOf(form)) {
    const auto part = name.empty() ? head : head + "." + name;
    auto& seen = m_seen[part];
    if (report && seen != text) Add(part + ": " + (text.empty() ? "on" : text));
    seen = text;
    parts.insert(part);
  }
  std::erase_if(m_seen, [&](const auto& seen) {
    const bool gone = seen.first.starts_with(head + ".") && parts.count(seen.first) == 0;
    if (gone && report) Add(seen.first + ": gone");
    return gone;
  });
}

void Trace::WatchPages() {
  if (!m_console.bas) return;
  for (const auto& page : m_console.bas->PageForms)
    if (page && m_pages.insert(page).second)
      connect(page, &QObject::destroyed, this, [this, page = page.data(), name = page->objectName()] {
        m_pages.erase(page);
        AddAfterChanges("unloads " + name.toStdString());
      });
}

std::string Trace::PlaceOf(const QWidget& window) const {
  constexpr int Rounding = 5;
  const auto isIn = [&window](const QRect& area) {
    return (window.frameGeometry().center() - area.center()).manhattanLength() <= Rounding;
  };
  if (isIn(window.screen()->geometry())) return "in the middle of the screen";
  const auto& main = m_console.Window();
  return &window != &main && isIn(main.frameGeometry()) ? "in the middle of FrmStart" : "elsewhere";
}

bool Trace::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Timer && qobject_cast<QTimer*>(watched) != nullptr)
    return !m_timeRuns || watched->objectName() == QLatin1String("Timer1");
  if (event->type() != QEvent::Show && event->type() != QEvent::Hide) return false;
  auto* widget = qobject_cast<QWidget*>(watched);
  if (widget == nullptr || widget->objectName().isEmpty() || event->spontaneous()) return false;
  const bool shows = event->type() == QEvent::Show;
  const auto name = widget->objectName().toStdString();
  const bool isPage = qobject_cast<console::shared::Page*>(widget) != nullptr;
  if (!isPage && (!widget->isWindow() || widget->windowType() == Qt::ToolTip)) return false;
  AddChangesBut(shows ? widget : nullptr);
  if (isPage)
    Add((shows ? "shows " : "hides ") + name);
  else
    Add((shows ? "opens " : "closes ") + name + (shows && widget->isModal() ? " modally" : ""));
  if (shows && m_seen.count(name) == 0) Remember(*widget);
  if (shows && m_dumpWhenShown == name) Dump(*widget);
  if (!shows) m_places.erase(widget);
  if (!shows && widget->isWindow() && widget != m_console.form.get()) m_seen.erase(name);
  return false;
}

}  // namespace norvane::tests
