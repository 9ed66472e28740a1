#include "console/ScrollKeeper.h"

#include <QScrollBar>

namespace norvane::console {

ScrollKeeper::ScrollKeeper(QTreeView& view)
    : m_view(view), m_top(view.indexAt(QPoint(0, 0))), m_left(view.horizontalScrollBar()->value()) {}

ScrollKeeper::~ScrollKeeper() {
  if (!m_top.isValid() || m_view.indexAt(QPoint(0, 0)) == m_top) return;
  m_view.scrollTo(m_top, QAbstractItemView::PositionAtTop);
  m_view.horizontalScrollBar()->setValue(m_left);
}

}  // namespace norvane::console
