#include "console/StatusModel.h"

#include <QGuiApplication>
#include <QPalette>
#include <algorithm>
#include <numeric>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "console/ImageList.h"
#include "console/MonitorTips.h"
#include "console/TreeModel.h"
#include "console/engine/MonitorKeys.h"

namespace norvane::console {

namespace {
constexpr const char* Captions[] = {"Monitor Type", "Status", "Result", "Monitor Name"};

QColor ColourOf(RowState state) {
  switch (state) {
    case RowState::Good:
      return {0, 0, 255};
    case RowState::Failed:
      return {255, 0, 0};
    case RowState::Idle:
      break;
  }
  return QGuiApplication::palette().color(QPalette::WindowText);
}

/// Blue and red can't be read on a dark background.
QVariant BackgroundOf(RowState state) {
  constexpr int lightFrom = 128;
  const auto base = QGuiApplication::palette().color(QPalette::Base);
  if (state == RowState::Idle || base.lightness() >= lightFrom) return {};
  return QColor(Qt::white);
}

std::string ResultOf(RowState state) {
  switch (state) {
    case RowState::Good:
      return std::string(engine::ResultOk);
    case RowState::Failed:
      return "Error";
    case RowState::Idle:
      break;
  }
  return {};
}
}  // namespace

std::vector<StatusRow> RowsOf(const TreeModel& tree) {
  std::vector<StatusRow> rows;
  rows.reserve(tree.Children().size());
  for (const auto& node : tree.Children())
    rows.push_back({node->Image(), node->stopped ? "Stop" : "Start", node->name});
  return rows;
}

StatusModel::StatusModel(const ImageList& images, const MonitorTips& tips, QObject* parent)
    : QAbstractTableModel(parent), m_images(images), m_tips(tips) {}

void StatusModel::Fill(std::vector<StatusRow> rows) {
  beginResetModel();
  m_rows = std::move(rows);
  if (m_sortKey) Reorder(SortedOrder(*m_sortKey));
  endResetModel();
}

void StatusModel::Follow(std::vector<StatusRow> rows) {
  std::unordered_map<std::string_view, StatusRow*> unknown;
  for (auto& row : rows)
    unknown.emplace(row.name, &row);
  for (int at = rowCount() - 1; at >= 0; --at) {
    auto& row = m_rows[static_cast<std::size_t>(at)];
    const auto now = unknown.find(row.name);
    if (now == unknown.end()) {
      RemoveRow(at);
      continue;
    }
    if (std::exchange(row.type, now->second->type) != now->second->type) {
      row.status = now->second->status;
      emit dataChanged(index(at, Type), index(at, Status));
    }
    unknown.erase(now);
  }
  for (auto& row : rows)
    if (unknown.erase(row.name) != 0) InsertRow(std::move(row));
}

void StatusModel::RemoveRow(int row) {
  beginRemoveRows({}, row, row);
  m_rows.erase(m_rows.begin() + row);
  endRemoveRows();
}

void StatusModel::InsertRow(StatusRow row) {
  auto place = m_rows.end();
  if (m_sortKey) {
    const auto key = [this](const StatusRow& of) { return SortText(of, *m_sortKey); };
    place = std::ranges::upper_bound(m_rows, key(row), {}, key);
  }
  const int at = static_cast<int>(place - m_rows.begin());
  beginInsertRows({}, at, at);
  m_rows.insert(place, std::move(row));
  endInsertRows();
}

void StatusModel::SetSortKey(int column) {
  m_sortKey = column;
  emit layoutAboutToBeChanged({}, VerticalSortHint);
  const auto order = SortedOrder(column);
  Reorder(order);
  std::vector<int> newRow(order.size());
  for (std::size_t i = 0; i < order.size(); ++i)
    newRow[static_cast<std::size_t>(order[i])] = static_cast<int>(i);
  for (const auto& old : persistentIndexList())
    changePersistentIndex(old, index(newRow[static_cast<std::size_t>(old.row())], old.column()));
  emit layoutChanged({}, VerticalSortHint);
}

QString StatusModel::SortText(const StatusRow& row, int column) const {
  return QString::fromStdString(Text(row, column)).toCaseFolded();
}

std::vector<int> StatusModel::SortedOrder(int column) const {
  std::vector<QString> texts;
  texts.reserve(m_rows.size());
  for (const auto& row : m_rows)
    texts.push_back(SortText(row, column));
  std::vector<int> order(m_rows.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&texts](int a, int b) {
    return texts[static_cast<std::size_t>(a)] < texts[static_cast<std::size_t>(b)];
  });
  return order;
}

void StatusModel::Reorder(const std::vector<int>& order) {
  std::vector<StatusRow> sorted;
  sorted.reserve(m_rows.size());
  for (const int row : order)
    sorted.push_back(std::move(m_rows[static_cast<std::size_t>(row)]));
  m_rows = std::move(sorted);
}

void StatusModel::ShowStates() {
  if (!m_rows.empty()) emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}

int StatusModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int StatusModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : ColumnCount;
}

std::string StatusModel::Text(const StatusRow& row, int column) const {
  switch (column) {
    case Type:
      return row.type;
    case Status:
      return row.status;
    case Result:
      return ResultOf(row.state);
    default:
      return row.name;
  }
}

QVariant StatusModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  const auto& row = Row(index.row());
  if (role == Qt::DisplayRole) return QString::fromStdString(Text(row, index.column()));
  if (role == Qt::ForegroundRole) return ColourOf(row.state);
  if (role == Qt::BackgroundRole) return BackgroundOf(row.state);
  if (role == FullNameRole) return QString::fromStdString(row.name);
  if (role == Qt::ToolTipRole) return m_tips.Of(row.name);
  if (role == Qt::DecorationRole && index.column() == Type) return m_images.Image(row.type);
  return {};
}

QVariant StatusModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal) return {};
  if (role == Qt::DisplayRole) return QString::fromLatin1(Captions[section]);
  if (role == Qt::TextAlignmentRole) return int(Qt::AlignLeft | Qt::AlignVCenter);
  return {};
}

}  // namespace norvane::console
