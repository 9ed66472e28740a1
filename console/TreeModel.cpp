#include "console/TreeModel.h"

#include <algorithm>
#include <utility>

#include "console/ImageList.h"
#include "console/MonitorTips.h"
#include "console/RowState.h"

namespace norvane::console {

namespace {
// The internal id of an index is its level.
constexpr quintptr RootLevel = 0;
constexpr quintptr ChildLevel = 1;
}  // namespace

TreeModel::TreeModel(const ImageList& images, const MonitorTips& tips, QObject* parent)
    : QAbstractItemModel(parent), m_images(images), m_tips(tips) {}

void TreeModel::Clear() {
  beginResetModel();
  m_children.clear();
  m_root.reset();
  endResetModel();
}

const TreeModel::Node& TreeModel::AddRoot(Node node) {
  beginInsertRows({}, 0, 0);
  m_root = std::make_unique<Node>(std::move(node));
  endInsertRows();
  return *m_root;
}

const TreeModel::Node& TreeModel::AddChild(Node node) {
  Q_ASSERT(m_root != nullptr);
  const int row = static_cast<int>(m_children.size());
  beginInsertRows(IndexOf(*m_root), row, row);
  m_children.push_back(std::make_unique<Node>(std::move(node)));
  endInsertRows();
  return *m_children.back();
}

const TreeModel::Node& TreeModel::Neighbour(const Node& node) const {
  const auto row = static_cast<std::size_t>(RowOf(node));
  if (row + 1 < m_children.size()) return *m_children[row + 1];
  return row > 0 ? *m_children[row - 1] : *m_root;
}

void TreeModel::Remove(const Node& node) {
  const int row = RowOf(node);
  beginRemoveRows(IndexOf(*m_root), row, row);
  m_children.erase(m_children.begin() + row);
  endRemoveRows();
}

void TreeModel::SetRootToolTip(const QString& text) {
  m_rootToolTip = text;
}

void TreeModel::SetStopped(const Node& node, bool stopped) {
  m_children[static_cast<std::size_t>(RowOf(node))]->stopped = stopped;
  const auto index = IndexOf(node);
  emit dataChanged(index, index, {Qt::DecorationRole});
}

const TreeModel::Node* TreeModel::Find(std::string_view name) const {
  const auto found = std::find_if(m_children.begin(), m_children.end(),
                                  [name](const auto& node) { return node->name == name; });
  return found == m_children.end() ? nullptr : found->get();
}

const TreeModel::Node* TreeModel::NodeAt(const QModelIndex& index) const {
  if (!index.isValid()) return nullptr;
  return index.internalId() == RootLevel ? m_root.get()
                                         : m_children[static_cast<std::size_t>(index.row())].get();
}

QModelIndex TreeModel::IndexOf(const Node& node) const {
  return &node == m_root.get() ? createIndex(0, 0, RootLevel) : createIndex(RowOf(node), 0, ChildLevel);
}

int TreeModel::RowOf(const Node& child) const {
  const auto found = std::find_if(m_children.begin(), m_children.end(),
                                  [&child](const auto& node) { return node.get() == &child; });
  Q_ASSERT(found != m_children.end());
  return static_cast<int>(found - m_children.begin());
}

QModelIndex TreeModel::index(int row, int column, const QModelIndex& parent) const {
  if (!hasIndex(row, column, parent)) return {};
  return createIndex(row, column, parent.isValid() ? ChildLevel : RootLevel);
}

QModelIndex TreeModel::parent(const QModelIndex& index) const {
  return index.isValid() && index.internalId() == ChildLevel ? createIndex(0, 0, RootLevel) : QModelIndex();
}

int TreeModel::rowCount(const QModelIndex& parent) const {
  if (!parent.isValid()) return m_root ? 1 : 0;
  return parent.internalId() == RootLevel ? static_cast<int>(m_children.size()) : 0;
}

int TreeModel::columnCount(const QModelIndex& /*parent*/) const {
  return 1;
}

QVariant TreeModel::data(const QModelIndex& index, int role) const {
  const Node* node = NodeAt(index);
  if (node == nullptr) return {};
  if (role == Qt::DisplayRole || role == FullNameRole) return QString::fromStdString(node->name);
  if (role == Qt::DecorationRole) return m_images.Image(node->Image());
  if (role == Qt::ToolTipRole && node != m_root.get()) return m_tips.Of(node->name);
  if (role == Qt::ToolTipRole && !m_rootToolTip.isEmpty()) return m_rootToolTip;
  return {};
}

}  // namespace norvane::console
