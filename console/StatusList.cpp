#include "console/StatusList.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <array>

#include "console/SortHeader.h"
#include "console/StatusModel.h"
#include "console/shared/Twips.h"

namespace norvane::console {

namespace {
constexpr int SpaceAroundCaption = 8;
constexpr int SpaceAroundText = 24;
}  // namespace

StatusList::StatusList(QWidget* parent) : QTreeView(parent), m_header(new SortHeader(this)) {
  setHeader(m_header);  // which makes it ignore clicks
  m_header->setSectionsClickable(true);
}

void StatusList::MarkColumn(int column) {
  m_header->SetSortColumn(column);
}

void StatusList::SetEmptyText(const QString& text) {
  m_emptyText = text;
  viewport()->setAccessibleDescription(text);
  viewport()->update();
}

void StatusList::paintEvent(QPaintEvent* event) {
  QTreeView::paintEvent(event);
  if (indexAt(QPoint(0, 0)).isValid()) return;
  QPainter painter(viewport());
  const auto margins = QMargins(SpaceAroundText, SpaceAroundText, SpaceAroundText, SpaceAroundText);
  painter.drawText(viewport()->rect() - margins, Qt::AlignCenter | Qt::TextWordWrap, EmptyText());
}

QString StatusList::EmptyText() const {
  return model()->rowCount() == 0 ? m_emptyText : QStringLiteral("No monitor matches the search.");
}

void StatusList::mouseDoubleClickEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton) Open(indexAt(event->pos()));
}

void StatusList::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
    Open(currentIndex());
  else
    QTreeView::keyPressEvent(event);
}

void StatusList::Open(const QModelIndex& row) {
  if (row.isValid()) emit Opened(row.data(FullNameRole).toString().toStdString());
}

int StatusList::CaptionWidth(int column) const {
  const auto caption = model()->headerData(column, Qt::Horizontal).toString();
  return header()->fontMetrics().horizontalAdvance(caption) + SpaceAroundCaption;
}

void StatusList::SizeColumns() {
  const double all = shared::ToTwips(width());
  const std::array<double, StatusModel::ColumnCount> widths = {all / 4, 700, 700, all * 0.8 - 500};
  for (int column = 0; column < StatusModel::ColumnCount; ++column) {
    const int drawn = shared::ToPixels(widths[static_cast<std::size_t>(column)]);
    header()->resizeSection(column, std::max(drawn, CaptionWidth(column)));
  }
}

}  // namespace norvane::console
