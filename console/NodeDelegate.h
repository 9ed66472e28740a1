#pragma once

#include <QStyledItemDelegate>

namespace norvane::console {

/// Of names that don't fit it drops most of the type or all of it, which the image shows too, so that the
/// names of many monitors still differ; what is still too long has its ellipsis in the middle.
class NodeDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};

}  // namespace norvane::console
