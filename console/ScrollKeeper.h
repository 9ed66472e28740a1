#pragma once

#include <QPersistentModelIndex>
#include <QTreeView>

namespace norvane::console {

/// The row at the top of a view is there again when this goes, although rows were inserted and removed
/// meanwhile; unless it was removed itself.
class ScrollKeeper {
 public:
  explicit ScrollKeeper(QTreeView& view);
  ~ScrollKeeper();
  ScrollKeeper(const ScrollKeeper&) = delete;
  ScrollKeeper& operator=(const ScrollKeeper&) = delete;

 private:
  QTreeView& m_view;
  const QPersistentModelIndex m_top;
  const int m_left;
};

}  // namespace norvane::console
