#include "console/SortHeader.h"

#include <QPainter>

namespace norvane::console {

SortHeader::SortHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {
  setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
}

void SortHeader::SetSortColumn(int column) {
  m_sortColumn = column;
  viewport()->update();
}

/// An arrow above the middle of what can be seen of the column.
void SortHeader::paintSection(QPainter* painter, const QRect& rect, int column) const {
  painter->save();
  QHeaderView::paintSection(painter, rect, column);
  painter->restore();
  if (column != m_sortColumn) return;
  constexpr int size = 4;
  const int middle = (rect & viewport()->rect()).center().x();
  const int top = rect.top() + 1;
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(Qt::NoPen);
  painter->setBrush(palette().color(QPalette::Link));
  painter->drawPolygon(
      QPolygon({QPoint(middle - size, top), QPoint(middle + size, top), QPoint(middle, top + size)}));
  painter->restore();
}

}  // namespace norvane::console
