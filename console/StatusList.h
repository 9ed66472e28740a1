#pragma once

#include <QTreeView>

namespace norvane::console {

/// The status list. Its model is a `StatusModel`.
class StatusList : public QTreeView {
  Q_OBJECT

 public:
  using QTreeView::QTreeView;

  /// Gives the columns their shares of the list's width, but none less than its caption needs.
  void SizeColumns();

 private:
  [[nodiscard]] int CaptionWidth(int column) const;
};

}  // namespace norvane::console
