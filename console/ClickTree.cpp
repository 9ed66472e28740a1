#include "console/ClickTree.h"

#include <QKeyEvent>
#include <QMouseEvent>

namespace norvane::console {

namespace {
bool IsPlain(const QMouseEvent& event) {
  return event.button() == Qt::LeftButton && event.modifiers() == Qt::NoModifier;
}
}  // namespace

// The view reports a press on a node, but not one on the mark that opens and closes the root.
ClickTree::ClickTree(QWidget* parent) : QTreeView(parent) {
  connect(this, &QTreeView::pressed, this, &ClickTree::NodeClick);
}

void ClickTree::mousePressEvent(QMouseEvent* event) {
  // Beside the nodes the view would drop its selection.
  if (IsPlain(*event) && indexAt(event->pos()).isValid()) QTreeView::mousePressEvent(event);
}

void ClickTree::mouseDoubleClickEvent(QMouseEvent* event) {
  if (IsPlain(*event)) QTreeView::mouseDoubleClickEvent(event);
}

void ClickTree::mouseMoveEvent(QMouseEvent* event) {
  if (event->buttons() == Qt::NoButton) QTreeView::mouseMoveEvent(event);  // no selecting by dragging
}

void ClickTree::keyPressEvent(QKeyEvent* event) {
  const QPersistentModelIndex before = currentIndex();
  QTreeView::keyPressEvent(event);
  const auto reached = currentIndex();
  if (!reached.isValid()) return;
  setCurrentIndex(reached);  // with Ctrl the view moves its cursor only, and Space takes the selection away
  if (reached != before) emit NodeClick(reached);
}

}  // namespace norvane::console
