#pragma once

#include <QAbstractItemModel>
#include <memory>
#include <string_view>
#include <vector>

#include "console/shared/MonitorTree.h"

namespace norvane::console {

class ImageList;
class MonitorTips;

/// The nodes of the tree: a root, and one level of monitors below it. Nodes stay at their address until they
/// are removed.
class TreeModel : public QAbstractItemModel {
  Q_OBJECT

 public:
  using Node = shared::TreeNode;

  TreeModel(const ImageList& images, const MonitorTips& tips, QObject* parent = nullptr);

  void Clear();
  /// The first node of an empty tree.
  const Node& AddRoot(Node node);
  /// At the end, below the root.
  const Node& AddChild(Node node);
  /// The one after `node`, else the one before it, else the root. Not for the root.
  [[nodiscard]] const Node& Neighbour(const Node& node) const;
  /// Not for the root.
  void Remove(const Node& node);
  void SetRootToolTip(const QString& text);
  /// Not for the root.
  void SetStopped(const Node& node, bool stopped);

  /// Null as long as the tree is empty.
  [[nodiscard]] const Node* Root() const { return m_root.get(); }
  [[nodiscard]] const std::vector<std::unique_ptr<Node>>& Children() const { return m_children; }
  /// A monitor by its text; null if there is none.
  [[nodiscard]] const Node* Find(std::string_view name) const;
  /// Null for an invalid index.
  [[nodiscard]] const Node* NodeAt(const QModelIndex& index) const;
  [[nodiscard]] QModelIndex IndexOf(const Node& node) const;

  [[nodiscard]] QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  [[nodiscard]] QModelIndex parent(const QModelIndex& index) const override;
  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

 private:
  [[nodiscard]] int RowOf(const Node& child) const;

  const ImageList& m_images;
  const MonitorTips& m_tips;
  std::unique_ptr<Node> m_root;
  QString m_rootToolTip;
  std::vector<std::unique_ptr<Node>> m_children;
};

}  // namespace norvane::console
