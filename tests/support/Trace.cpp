#include "tests/support/Trace.h"

#include <QEvent>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "console/shared/Page.h"
#include "tests/support/FormDump.h"

namespace norvane::tests {

namespace {
constexpr std::size_t LineLength = 110;
constexpr const char* Changes[] = {"SetAttr(", "SetValue(", "Commit", "Open(",    "Load(",  "Save(",
                                   "Add(",     "Remove(",   "Init(",  "Monitor(", "Notify("};

bool IsChange(const std::string& call) {
  return std::any_of(std::begin(Changes), std::end(Changes),
                     [&call](const char* change) { return call.starts_with(change); });
}
}  // namespace

Trace::Trace(ScriptedConsole& console, std::string& text) : m_console(console), m_text(text) {
  qApp->installEventFilter(this);
}

Trace::~Trace() {
  qApp->removeEventFilter(this);
}

void Trace::Add(const std::string& line) {
  AddCalls();
  auto text = m_console.Anonymous(line);
  ReplaceAll(text, "\n", "\\n");
  m_text += "  " + text + "\n";
}

/// A change stands on a line of its own, so that one call more is one line more in a diff.
void Trace::AddCalls() {
  std::string line;
  const auto endLine = [&] {
    if (!line.empty()) m_text += "  " + std::exchange(line, {}) + "\n";
  };
  for (const auto& call : m_console.engine.TakeCalls()) {
    const auto shown = m_console.Anonymous(call);
    if (IsChange(shown) || shown.starts_with("SetM") || line.size() + shown.size() > LineLength) endLine();
    line += (line.empty() ? "" : ", ") + shown;
    if (IsChange(shown)) endLine();
  }
  endLine();
}

void Trace::AddChanges() {
  AddCalls();
  WatchPages();
  for (const auto* form : m_console.Forms()) {
    const bool isPlaced = form->isVisible() && !form->isMinimized() && form->testAttribute(Qt::WA_Moved);
    if (form->isWindow() && isPlaced && m_placed.insert(form).second)
      Add(form->objectName().toStdString() + " is " + PlaceOf(*form));
    Compare(*form, true);
  }
}

void Trace::AddAfterChanges(const std::string& line) {
  AddChanges();
  Add(line);
}

void Trace::RememberAll() {
  (void)m_console.engine.TakeCalls();
  WatchPages();
  for (const auto* form : m_console.Forms()) {
    m_placed.insert(form);
    Remember(*form);
  }
}

void Trace::Dump(const QWidget& form) {
  m_text += m_console.Anonymous(DumpOf(form));
}

void Trace::Compare(const QWidget& form, bool tell) {
  const auto head = form.objectName().toStdString();
  std::set<std::string> parts;
  for (const auto& [name, text] : StateOf(form)) {
    const auto part = name.empty() ? head : head + "." + name;
    auto& seen = m_seen[part];
    if (tell && seen != text) Add(part + ": " + (text.empty() ? "on" : text));
    seen = text;
    parts.insert(part);
  }
  std::erase_if(m_seen, [&](const auto& seen) {
    const bool gone = seen.first.starts_with(head + ".") && parts.count(seen.first) == 0;
    if (gone && tell) Add(seen.first + ": gone");
    return gone;
  });
}

void Trace::WatchPages() {
  if (!m_console.bas) return;
  for (const auto& page : m_console.bas->PageForms)
    if (page && m_pages.insert(page).second)
      connect(page, &QObject::destroyed, this, [this, page = page.data(), name = page->objectName()] {
        m_pages.erase(page);
        Add("unloads " + name.toStdString());
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
  if (qobject_cast<console::shared::Page*>(widget) != nullptr) {
    Add((shows ? "shows " : "hides ") + name);
  } else if (widget->isWindow() && widget->windowType() != Qt::ToolTip) {
    if (!shows) AddChanges();
    Add((shows ? "opens " : "closes ") + name + (shows && widget->isModal() ? " modally" : ""));
  } else {
    return false;
  }
  if (shows && m_seen.count(name) == 0) Remember(*widget);
  if (shows && m_dumpWhenShown == name) Dump(*widget);
  if (!shows) m_placed.erase(widget);
  if (!shows && widget->isWindow() && widget != m_console.form.get()) m_seen.erase(name);
  return false;
}

}  // namespace norvane::tests
