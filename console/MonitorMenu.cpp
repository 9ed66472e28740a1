#include "console/MonitorMenu.h"

#include <QAbstractItemView>
#include <QContextMenuEvent>

#include "console/RowState.h"
#include "console/TreeModel.h"

namespace norvane::console {

MonitorMenu::MonitorMenu(const TreeModel& nodes, QWidget* parent)
    : QMenu(parent),
      m_nodes(nodes),
      m_start(AddCommand("&Start", Command::Start)),
      m_stop(AddCommand("S&top", Command::Stop)) {
  AddCommand("&Delete", Command::Delete);
  auto& open = AddCommand("&Open", Command::Open);
  setDefaultAction(&open);  // what a double click does
  setObjectName(QStringLiteral("mnuMonitor"));
}

QAction& MonitorMenu::AddCommand(const char* caption, Command command) {
  auto& entry = *addAction(QLatin1String(caption));
  connect(&entry, &QAction::triggered, this, [this, command] { emit Chosen({command, m_fullName}); });
  return entry;
}

void MonitorMenu::Serve(QAbstractItemView& view) {
  view.installEventFilter(this);              // keyboard
  view.viewport()->installEventFilter(this);  // mouse
}

bool MonitorMenu::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::ContextMenu) return QMenu::eventFilter(watched, event);
  auto* view = qobject_cast<QAbstractItemView*>(watched);
  if (view == nullptr) view = qobject_cast<QAbstractItemView*>(watched->parent());
  const auto& menu = *static_cast<QContextMenuEvent*>(event);
  if (menu.reason() != QContextMenuEvent::Keyboard)
    PopUp(view->indexAt(menu.pos()), menu.globalPos());
  else if (const auto at = view->currentIndex(); at.isValid())
    PopUp(at, view->viewport()->mapToGlobal(view->visualRect(at).center()));
  return true;
}

void MonitorMenu::PopUp(const QModelIndex& at, const QPoint& place) {
  const auto* node = m_nodes.Find(at.data(FullNameRole).toString().toStdString());
  if (node == nullptr) return;  // the root, or beside the rows
  m_fullName = node->name;
  m_start.setEnabled(node->stopped);
  m_stop.setEnabled(!node->stopped);
  popup(place);
}

}  // namespace norvane::console
