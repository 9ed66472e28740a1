#include "tests/support/FormDump.h"

#include <QAction>
#include <QComboBox>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPalette>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>
#include <QToolBar>
#include <QTreeView>
#include <set>

#include "console/ImageList.h"

namespace norvane::tests {

namespace {
using State = std::vector<std::pair<std::string, std::string>>;

std::string NameOf(const QObject& object) {
  const auto name = object.objectName();
  return name.startsWith(QLatin1String("qt_")) ? std::string() : name.toStdString();
}

std::string Quoted(const QString& text) {
  auto shown = text;
  shown.replace(QLatin1Char('\r'), QLatin1String("\\r")).replace(QLatin1Char('\n'), QLatin1String("\\n"));
  return '"' + shown.toStdString() + '"';
}

/// Its key in the list of images; "-" for none.
std::string ImageName(const QIcon& icon) {
  if (icon.isNull()) return "-";
  static const console::ImageList images;
  const auto picture = [](const QIcon& of) { return of.pixmap(16, 16).toImage(); };
  for (const char* key : {"global", "WebMonitor", "Pop3Monitor", "SmtpMonitor", "WebMonitor_Stop",
                          "Pop3Monitor_Stop", "SmtpMonitor_Stop"})
    if (picture(images.Image(key)) == picture(icon)) return key;
  return "unknown";
}

/// Image and texts of a row; its colour if it has one of its own.
std::string RowText(const QAbstractItemModel& model, int row, const QModelIndex& parent) {
  const auto first = model.index(row, 0, parent);
  auto text = "[" + ImageName(first.data(Qt::DecorationRole).value<QIcon>()) + "] ";
  for (int column = 0; column < model.columnCount(parent); ++column)
    text += (column == 0 ? "" : " | ") + model.index(row, column, parent).data().toString().toStdString();
  if (const auto colour = first.data(Qt::ForegroundRole).value<QColor>(); colour.isValid())
    text += colour == QGuiApplication::palette().color(QPalette::WindowText)
                ? " in window text"
                : " in " + colour.name().toStdString();
  return text;
}

void AddRows(State& state, const QTreeView& view, const std::string& name, const QModelIndex& parent = {}) {
  const auto& model = *view.model();
  for (int row = 0; row < model.rowCount(parent); ++row) {
    const auto index = model.index(row, 0, parent);
    auto text = RowText(model, row, parent);
    if (view.isExpanded(index)) text += " expanded";
    if (view.selectionModel()->isSelected(index)) text += " selected";
    const auto here = name + "/" + std::to_string(row + 1);
    state.emplace_back(here, text);
    AddRows(state, view, here, index);
  }
}

std::string ItemTexts(const QComboBox& list) {
  std::string texts;
  for (int item = 0; item < list.count(); ++item)
    texts += (item == list.currentIndex() ? " *" : " ") + Quoted(list.itemText(item));
  return "list" + texts;
}

std::string TabTexts(const QTabWidget& tabs) {
  std::string texts;
  for (int tab = 0; tab < tabs.count(); ++tab)
    texts += (tab == tabs.currentIndex() ? " *" : " ") + Quoted(tabs.tabText(tab)) +
             (tabs.tabIcon(tab).isNull() ? "" : " marked") +
             (tabs.tabToolTip(tab).isEmpty() ? "" : " tip " + Quoted(tabs.tabToolTip(tab)));
  return "tabs" + texts;
}

std::string Content(const QWidget& widget) {
  if (const auto* field = qobject_cast<const QLineEdit*>(&widget))
    return Quoted(field->text()) +
           (field->echoMode() == QLineEdit::Normal ? "" : " shown as " + Quoted(field->displayText()));
  if (const auto* list = qobject_cast<const QComboBox*>(&widget)) return ItemTexts(*list);
  if (const auto* tabs = qobject_cast<const QTabWidget*>(&widget)) return TabTexts(*tabs);
  if (const auto* text = qobject_cast<const QPlainTextEdit*>(&widget)) return Quoted(text->toPlainText());
  if (const auto* button = qobject_cast<const QAbstractButton*>(&widget))
    return Quoted(button->text()) + (button->isChecked() ? " checked" : "");
  if (const auto* label = qobject_cast<const QLabel*>(&widget)) return Quoted(label->text());
  if (const auto* frame = qobject_cast<const QGroupBox*>(&widget)) return Quoted(frame->title());
  if (const auto* menu = qobject_cast<const QMenu*>(&widget)) return Quoted(menu->title());
  if (widget.isWindow()) return Quoted(widget.windowTitle());
  return {};
}

bool IsTabOfOther(const QWidget& widget) {
  return widget.parentWidget() != nullptr && widget.parentWidget()->inherits("QStackedWidget");
}

std::string Describe(const QWidget& widget) {
  std::string text;
  if (widget.isWindow() ? !widget.isEnabled() : !widget.isEnabledTo(widget.parentWidget())) text += " off";
  if (!widget.isWindow() && widget.isHidden() && !IsTabOfOther(widget)) text += " hidden";
  const auto content = Content(widget);
  return content.empty() && !text.empty() ? text.substr(1) : content + text;
}

std::string Describe(const QAction& action) {
  return Quoted(action.text()) + (action.isEnabled() ? "" : " off");
}

std::string Describe(const QTimer& timer) {
  return timer.isActive() ? std::to_string(timer.interval()) + " ms" : "stopped";
}

/// Parts of such a widget are the business of the library.
bool IsWhole(const QWidget& widget) {
  return qobject_cast<const QComboBox*>(&widget) != nullptr ||
         qobject_cast<const QAbstractItemView*>(&widget) != nullptr ||
         qobject_cast<const QPlainTextEdit*>(&widget) != nullptr ||
         qobject_cast<const QLineEdit*>(&widget) != nullptr || widget.inherits("QTabBar") ||
         widget.inherits("norvane::pages::Spinner");
}

/// A page within the main window is a form of its own. While it is being destroyed only its name says so.
bool IsOtherForm(const QWidget& widget) {
  return widget.objectName().startsWith(QLatin1String("frm"), Qt::CaseInsensitive) ||
         (widget.isWindow() && qobject_cast<const QMenu*>(&widget) == nullptr);
}

std::string Size(const QSize& size) {
  return std::to_string(size.width()) + "x" + std::to_string(size.height());
}

std::string Position(const QWidget& widget) {
  return "at " + std::to_string(widget.x()) + "," + std::to_string(widget.y());
}

/// Of the parts of the main window.
std::string LaidOutPlace(const QWidget& widget) {
  static const std::set<std::string> Parts = {"TvCtrl", "PicScroll", "Fram", "LstV", "Img"};
  if (Parts.count(NameOf(widget)) == 0) return {};
  return Position(widget) + " size " + Size(widget.size());
}

void AddState(State& state, const QObject& parent) {
  for (const auto* child : parent.children()) {
    const auto name = NameOf(*child);
    if (const auto* action = qobject_cast<const QAction*>(child); action != nullptr && !name.empty())
      state.emplace_back(name, Describe(*action));
    if (const auto* timer = qobject_cast<const QTimer*>(child); timer != nullptr && !name.empty())
      state.emplace_back(name, Describe(*timer));
    const auto* widget = qobject_cast<const QWidget*>(child);
    if (widget == nullptr || IsOtherForm(*widget)) continue;
    if (!name.empty()) state.emplace_back(name, Describe(*widget));
    if (const auto place = LaidOutPlace(*widget); !place.empty())
      state.emplace_back(name + " geometry", place);
    if (const auto* view = qobject_cast<const QTreeView*>(widget)) AddRows(state, *view, name);
    if (!IsWhole(*widget)) AddState(state, *widget);
  }
}

// What is designed.

/// Where no font changes sizes and places: the parts of the main window, pictures, and the position of a
/// page.
std::string Place(const QWidget& widget) {
  const auto name = NameOf(widget);
  if (name == "FrmStart" && widget.minimumSize() == widget.maximumSize())
    return " fixed size, " + std::to_string(widget.height()) + " high";
  if (name == "FrmSplash" || name == "picIcon") return " size " + Size(widget.size());
  if (const auto place = LaidOutPlace(widget); !place.empty()) return " " + place;
  return IsOtherForm(widget) && !widget.isWindow() ? " " + Position(widget) : "";
}

std::string Design(const QWidget& widget) {
  std::string text = Place(widget);
  if (widget.isWindow()) {
    if (widget.windowFlags() & Qt::FramelessWindowHint) text += " without border";
    if (widget.windowFlags() & Qt::WindowMaximizeButtonHint) text += " can be maximised";
    if (widget.windowFlags() & Qt::WindowMinimizeButtonHint) text += " can be minimised";
  }
  if (const auto* field = qobject_cast<const QLineEdit*>(&widget)) {
    if (field->maxLength() < (1 << 20)) text += " at most " + std::to_string(field->maxLength());
    if (field->isReadOnly()) text += " read-only";
  }
  if (const auto* area = qobject_cast<const QPlainTextEdit*>(&widget))
    text += area->isReadOnly() ? " read-only" : "";
  if (const auto* list = qobject_cast<const QComboBox*>(&widget))
    text += list->isEditable() ? " editable" : "";
  if (const auto* button = qobject_cast<const QPushButton*>(&widget))
    text += button->isDefault() ? " default" : "";
  if (widget.cursor().shape() == Qt::PointingHandCursor) text += " hand";
  if (!widget.toolTip().isEmpty()) text += " tip " + Quoted(widget.toolTip());
  return text;
}

std::string ClassOf(const QObject& object) {
  const std::string name = object.metaObject()->className();
  return name.substr(name.rfind(':') + 1);
}

class Dump {
 public:
  explicit Dump(const QWidget& form) {
    Line(ClassOf(form) + " " + NameOf(form), Describe(form) + Design(form));
    Parts(form);
    TabOrder(form);
  }
  [[nodiscard]] const std::string& Text() const { return m_text; }

 private:
  void Line(const std::string& name, const std::string& text) {
    m_text += "  " + std::string(m_depth * 2, ' ') + name + (text.empty() || text[0] == ' ' ? "" : " ") +
              text + "\n";
  }
  void Parts(const QObject& parent) {
    ++m_depth;
    for (const auto* child : parent.children()) {
      if (const auto* timer = qobject_cast<const QTimer*>(child); timer != nullptr && !NameOf(*timer).empty())
        Line("QTimer " + NameOf(*timer), Describe(*timer));
      if (const auto* widget = qobject_cast<const QWidget*>(child);
          widget != nullptr && qobject_cast<const QMenu*>(widget) == nullptr && !IsOtherForm(*widget))
        Part(*widget);
    }
    --m_depth;
  }
  void Part(const QWidget& widget) {
    const auto name = NameOf(widget);
    if (name.empty()) {  // whatever the library made, or a box of a layout
      --m_depth;
      if (!IsWhole(widget)) Parts(widget);
      ++m_depth;
      return;
    }
    Line(ClassOf(widget) + " " + name, Describe(widget) + Design(widget));
    if (const auto* view = qobject_cast<const QTreeView*>(&widget)) Rows(*view);
    if (qobject_cast<const QMenuBar*>(&widget) != nullptr ||
        qobject_cast<const QToolBar*>(&widget) != nullptr)
      Actions(widget);
    else if (!IsWhole(widget))
      Parts(widget);
  }
  void Rows(const QTreeView& view) {
    ++m_depth;
    if (!view.isHeaderHidden())
      for (int column = 0; column < view.header()->count(); ++column)
        Line("column", Quoted(view.model()->headerData(column, Qt::Horizontal).toString()) + " wide " +
                           std::to_string(view.header()->sectionSize(column)));
    State rows;
    AddRows(rows, view, "");
    for (const auto& [place, text] : rows)
      Line(place, text);
    --m_depth;
  }
  void Actions(const QWidget& of) {
    ++m_depth;
    for (const auto* action : of.actions()) {
      if (const auto* menu = action->menu()) {
        Line("QMenu " + NameOf(*menu), Describe(*menu));
        Actions(*menu);
        continue;
      }
      const bool button = qobject_cast<const QToolBar*>(&of) != nullptr;
      Line("QAction " + NameOf(*action), Describe(*action) +
                                             (button ? " tip " + Quoted(action->toolTip()) : "") +
                                             (button && action->icon().isNull() ? " without image" : ""));
    }
    --m_depth;
  }
  /// Whether a widget is a part of this form, and not one of a page in it or of another part.
  static bool IsPart(const QWidget* widget, const QWidget& form) {
    for (widget = widget->parentWidget(); widget != nullptr && widget != &form;
         widget = widget->parentWidget())
      if (IsOtherForm(*widget) || IsWhole(*widget)) return false;
    return widget == &form;
  }
  void TabOrder(const QWidget& form) {
    std::string order;
    std::string line = "  tab order:";
    for (const auto* next = form.nextInFocusChain(); next != &form; next = next->nextInFocusChain()) {
      const auto name = NameOf(*next);
      if (name.empty() || !IsPart(next, form) || (next->focusPolicy() & Qt::TabFocus) == 0 ||
          next->focusProxy() != nullptr)
        continue;
      if (line.size() + name.size() > 100) {
        order += line + "\n";
        line = "   ";
      }
      line += " " + name;
    }
    m_text += order + line + "\n";
  }

  std::string m_text;
  std::size_t m_depth = 0;
};
}  // namespace

State StateOf(const QWidget& form) {
  State state = {{"", Describe(form)}};
  AddState(state, form);
  return state;
}

std::string DumpOf(const QWidget& form) {
  return Dump(form).Text();
}

}  // namespace norvane::tests
