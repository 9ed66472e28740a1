#include "console/StatusList.h"

#include <QHeaderView>
#include <algorithm>
#include <array>

#include "console/StatusModel.h"
#include "console/shared/Twips.h"

namespace norvane::console {

namespace {
constexpr int SpaceAroundCaption = 8;
}  // namespace

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
