#pragma once

#include <QAbstractTableModel>
#include <optional>
#include <string>
#include <vector>

#include "console/RowState.h"

namespace norvane::console {

class ImageList;
class MonitorTips;
class TreeModel;

struct StatusRow {
  std::string type;                 ///< the node's image key
  std::string status;               ///< as the tree knew it when the list was built
  std::string name;                 ///< full name
  RowState state = RowState::Idle;  ///< as the last poll saw it
};

/// As the tree has the monitors.
[[nodiscard]] std::vector<StatusRow> RowsOf(const TreeModel& tree);

/// The rows of the status list. A row's colour and its result come from its state.
class StatusModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { Type, Status, Result, Name, ColumnCount };

  StatusModel(const ImageList& images, const MonitorTips& tips, QObject* parent = nullptr);

  /// Replaces all rows, sorted if a sort key was ever set.
  void Fill(std::vector<StatusRow> rows);
  /// The same rows as after `Fill`, but those that were there stay, with their states and in their order;
  /// rows are removed and inserted one by one, so that views keep selection and scroll position.
  void Follow(std::vector<StatusRow> rows);
  /// Sorts now, ascending and without regard to letter case, and from now on at each `Fill`.
  void SetSortKey(int column);

  [[nodiscard]] const StatusRow& Row(int row) const { return m_rows[static_cast<std::size_t>(row)]; }
  /// Shows only with the next `ShowStates`, so that a poll of many rows repaints once.
  void SetState(int row, RowState state) { m_rows[static_cast<std::size_t>(row)].state = state; }
  void ShowStates();

  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  [[nodiscard]] std::string Text(const StatusRow& row, int column) const;
  [[nodiscard]] QString SortText(const StatusRow& row, int column) const;
  /// Row numbers in the order of the sort key.
  [[nodiscard]] std::vector<int> SortedOrder(int column) const;
  void Reorder(const std::vector<int>& order);
  void RemoveRow(int row);
  /// At the end, or where the sort key wants it.
  void InsertRow(StatusRow row);

  const ImageList& m_images;
  const MonitorTips& m_tips;
  std::vector<StatusRow> m_rows;
  std::optional<int> m_sortKey;
};

}  // namespace norvane::console
