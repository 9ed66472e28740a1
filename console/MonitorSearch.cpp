#include "console/MonitorSearch.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QShortcut>
#include <algorithm>
#include <utility>

#include "console/StatusList.h"
#include "console/StatusModel.h"
#include "console/TreeModel.h"
#include "console/engine/EngineError.h"

namespace norvane::console {

namespace {
std::optional<RowState> StateOf(const QString& word) {
  constexpr std::pair<const char*, RowState> States[] = {{"error", RowState::Failed},
                                                         {"failing", RowState::Failed},
                                                         {"ok", RowState::Good},
                                                         {"stop", RowState::Idle},
                                                         {"stopped", RowState::Idle}};
  for (const auto& [text, state] : States)
    if (word == QLatin1String(text)) return state;
  return std::nullopt;
}

/// Hiding a hidden one would still cost a layout.
void SetHidden(QTreeView& view, int row, const QModelIndex& parent, bool hidden) {
  if (view.isRowHidden(row, parent) != hidden) view.setRowHidden(row, parent, hidden);
}
}  // namespace

MonitorSearch::MonitorSearch(engine::EngineFactory& engine, QLineEdit& field, Views views)
    : QObject(&field), m_engine(engine), m_field(field), m_views(views) {
  connect(&field, &QLineEdit::textChanged, this, &MonitorSearch::txtSearch_Change);
  // Queued, since the selection also moves while a node is being removed.
  connect(m_views.tree.selectionModel(), &QItemSelectionModel::currentChanged, this,
          &MonitorSearch::ShowSelected, Qt::QueuedConnection);
  // Not every dark style gives one that can be read.
  auto palette = field.palette();
  auto placeholder = palette.color(QPalette::Text);
  placeholder.setAlpha(160);
  palette.setColor(QPalette::PlaceholderText, placeholder);
  field.setPalette(palette);
  field.installEventFilter(this);
  connect(new QShortcut(QKeySequence::Find, field.window()), &QShortcut::activated, this,
          &MonitorSearch::Begin);
}

void MonitorSearch::Begin() {
  m_field.setFocus(Qt::ShortcutFocusReason);
  m_field.selectAll();
}

void MonitorSearch::txtSearch_Change() {
  m_words.clear();
  for (const auto& word : m_field.text().toCaseFolded().split(QLatin1Char(' '), Qt::SkipEmptyParts))
    m_words.push_back({word, StateOf(word)});
  Apply();
  m_views.tree.scrollTo(m_views.tree.currentIndex());
}

void MonitorSearch::Refresh() {
  if (!m_words.empty()) Apply();
}

void MonitorSearch::Apply() {
  ReadStates();
  m_selected = m_views.tree.currentIndex();
  const auto root = m_views.tree.model()->index(0, 0);
  const bool isMonitor = m_selected.parent().isValid();
  int row = 0;
  for (const auto& node : m_views.nodes.Children()) {
    const bool isSelected = isMonitor && m_selected.row() == row;
    SetHidden(m_views.tree, row++, root, !isSelected && !Matches(node->name));
  }
  for (row = 0; row < m_views.rows.rowCount(); ++row)
    SetHidden(m_views.list, row, {}, !Matches(m_views.rows.Row(row).name));
}

void MonitorSearch::ShowSelected() {
  if (m_words.empty()) return;
  const QModelIndex before = std::exchange(m_selected, m_views.tree.currentIndex());
  ShowOrHide(before);
  ShowOrHide(m_selected);
}

void MonitorSearch::ShowOrHide(const QModelIndex& node) {
  if (!node.parent().isValid()) return;
  SetHidden(m_views.tree, node.row(), node.parent(),
            node != m_selected && !Matches(m_views.nodes.NodeAt(node)->name));
}

/// None without a word that asks for one.
void MonitorSearch::ReadStates() {
  m_states.clear();
  m_monitors.clear();
  if (std::ranges::none_of(m_words, [](const auto& word) { return word.state.has_value(); })) return;
  try {
    m_monitors = m_engine.Snapshot();
  } catch (const engine::EngineError&) {
    return;  // the poll says so
  }
  for (const auto& monitor : m_monitors)
    m_states.emplace(monitor->name,
                     ReadRowState([&monitor](std::string_view key) { return monitor->Get(key); }));
}

bool MonitorSearch::Matches(const std::string& fullName) const {
  if (m_words.empty()) return true;
  const auto name = QString::fromStdString(fullName).toCaseFolded();
  return std::ranges::all_of(m_words, [&](const auto& word) {
    if (name.contains(word.text)) return true;
    if (!word.state) return false;
    const auto state = m_states.find(fullName);
    return state != m_states.end() && word.state == state->second;
  });
}

QTreeView& MonitorSearch::ViewInFront() const {
  return m_views.list.isVisible() ? m_views.list : m_views.tree;
}

bool MonitorSearch::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::KeyPress) return QObject::eventFilter(watched, event);
  switch (static_cast<QKeyEvent*>(event)->key()) {
    case Qt::Key_Escape:
      m_field.clear();
      [[fallthrough]];
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Down:
      ViewInFront().setFocus();
      return true;
    default:
      return false;
  }
}

}  // namespace norvane::console
