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
  /// Stands in the middle of a list without rows.
  void SetEmptyText(const QString& text);
  [[nodiscard]] const QString& EmptyText() const { return m_emptyText; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  [[nodiscard]] int CaptionWidth(int column) const;

  QString m_emptyText;
};

}  // namespace norvane::console
