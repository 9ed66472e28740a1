#include "console/NodeDelegate.h"

#include <QApplication>
#include <QStyle>

#include "console/engine/MonitorKeys.h"

namespace norvane::console {

namespace {
constexpr qsizetype KeptOfType = 3;
const QString Separator = QString::fromLatin1(engine::NameSeparator.data(), engine::NameSeparator.size());

int TextWidth(const QStyleOptionViewItem& option) {
  const auto* style = option.widget != nullptr ? option.widget->style() : QApplication::style();
  const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, &option, option.widget) + 1;
  return style->subElementRect(QStyle::SE_ItemViewItemText, &option, option.widget).width() - 2 * margin;
}
}  // namespace

void NodeDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
  QStyledItemDelegate::initStyleOption(option, index);
  const auto separator = option->text.indexOf(Separator);
  if (separator <= KeptOfType || option->fontMetrics.horizontalAdvance(option->text) <= TextWidth(*option))
    return;
  option->text =
      option->text.left(KeptOfType) + QChar(0x2026) + option->text.mid(separator + Separator.size());
}

}  // namespace norvane::console
