#include "console/StatusList.h"

#include <QHeaderView>
#include <QPainter>
#include <algorithm>
#include <array>

#include "console/StatusModel.h"
#include "console/shared/Twips.h"

namespace norvane::console {

namespace {
constexpr int SpaceAroundCaption = 8;
constexpr int SpaceAroundText = 24;
}  // namespace

void StatusList::SetEmptyText(const QString& text) {
  m_emptyText = text;
  viewport()->setAccessibleDescription(text);
  viewport()->update();
}

void StatusList::paintEvent(QPaintEvent* event) {
  QTreeView::paintEvent(event);
  if (model()->rowCount() > 0 || m_emptyText.isEmpty()) return;
  QPainter painter(viewport());
  const auto margins = QMargins(SpaceAroundText, SpaceAroundText, SpaceAroundText, SpaceAroundText);
  painter.drawText(viewport()->rect() - margins, Qt::AlignCenter | Qt::TextWordWrap, m_emptyText);
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
