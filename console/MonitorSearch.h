#pragma once

#include <QObject>
#include <QPersistentModelIndex>
#include <QString>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "console/RowState.h"
#include "console/engine/Engine.h"

class QLineEdit;
class QTreeView;

namespace norvane::console {

class StatusList;
class StatusModel;
class TreeModel;

/// The search field. Of tree and list it hides all monitors but those for which each of its words is in the
/// full name, in any letter case, or says how they are, such as "error". Rows are hidden in the views alone,
/// so the poll goes through all of them. The tree's selected node stays on show.
class MonitorSearch : public QObject {
  Q_OBJECT

 public:
  struct Views {
    QTreeView& tree;
    const TreeModel& nodes;
    StatusList& list;
    const StatusModel& rows;
  };
  MonitorSearch(engine::EngineFactory& engine, QLineEdit& field, Views views);

  /// Hides and shows anew, since monitors may have come, gone, failed or recovered.
  void Refresh();
  /// To the field, with its words selected, so that the next key replaces them.
  void Begin();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  /// Splits the field's text.
  void txtSearch_Change();
  void Apply();
  void ReadStates();
  [[nodiscard]] bool Matches(const std::string& fullName) const;
  /// Hides the node that was selected, unless it matches, and shows the one that is.
  void ShowSelected();
  void ShowOrHide(const QModelIndex& node);
  [[nodiscard]] QTreeView& ViewInFront() const;

  engine::EngineFactory& m_engine;
  QLineEdit& m_field;
  Views m_views;
  QPersistentModelIndex m_selected;  ///< since the last look
  struct Word {
    QString text;
    std::optional<RowState> state;
  };
  std::vector<Word> m_words;
  engine::MonitorSnapshot m_monitors;  ///< whose names are the keys of `m_states`
  std::unordered_map<std::string_view, RowState> m_states;
};

}  // namespace norvane::console
