#pragma once

#include <QTreeView>
#include <string>

namespace norvane::console {

class SortHeader;

/// The status list. Its model is a `StatusModel`.
class StatusList : public QTreeView {
  Q_OBJECT

 public:
  explicit StatusList(QWidget* parent = nullptr);

  /// Gives the columns their shares of the list's width, but none less than its caption needs.
  void SizeColumns();
  /// The one that orders the list.
  void MarkColumn(int column);
  /// For the middle of a list that has no rows.
  void SetEmptyText(const QString& text);
  /// What a list has there that shows no row.
  [[nodiscard]] QString EmptyText() const;

 signals:
  /// A double click on a row, or Enter.
  void Opened(const std::string& fullName);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  [[nodiscard]] int CaptionWidth(int column) const;
  void Open(const QModelIndex& row);

  SortHeader* m_header;
  QString m_emptyText;
};

}  // namespace norvane::console
