#pragma once

#include <QMenu>
#include <string>

class QAbstractItemView;

namespace norvane::console {

class TreeModel;

/// What pops up at a monitor in tree and list.
class MonitorMenu : public QMenu {
  Q_OBJECT

 public:
  enum class Command { Open, Start, Stop, Delete };
  struct Choice {
    Command command;
    std::string fullName;  ///< of a monitor that may be gone meanwhile
  };

  MonitorMenu(const TreeModel& nodes, QWidget* parent);

  /// For a right click or the keyboard's menu key.
  void Serve(QAbstractItemView& view);

 signals:
  void Chosen(const norvane::console::MonitorMenu::Choice& choice);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QAction& AddCommand(const char* caption, Command command);
  void PopUp(const QModelIndex& at, const QPoint& place);

  const TreeModel& m_nodes;
  std::string m_fullName;
  QAction& m_start;
  QAction& m_stop;
};

}  // namespace norvane::console
