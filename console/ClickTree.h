#pragma once

#include <QTreeView>

namespace norvane::console {

/// A tree in which the selection moves by a plain left click and by the keyboard alone, and each such move is
/// reported, a click on the selected node too. A selection made by code is not.
class ClickTree : public QTreeView {
  Q_OBJECT

 public:
  explicit ClickTree(QWidget* parent = nullptr);

 signals:
  void NodeClick(const QModelIndex& index);

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
};

}  // namespace norvane::console
