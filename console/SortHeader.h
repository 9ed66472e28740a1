#pragma once

#include <QHeaderView>

namespace norvane::console {

/// The captions of the status list, with a mark on the column that orders it. A style's own mark stands at
/// the right end of a caption, where narrow columns have no space and the last one ends out of sight.
class SortHeader : public QHeaderView {
 public:
  explicit SortHeader(QWidget* parent);

  void SetSortColumn(int column);

 protected:
  void paintSection(QPainter* painter, const QRect& rect, int column) const override;

 private:
  int m_sortColumn = -1;
};

}  // namespace norvane::console
