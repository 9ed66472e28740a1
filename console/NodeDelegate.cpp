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
  const auto fits = [option](const QString& text) {
    return option->fontMetrics.horizontalAdvance(text) <= TextWidth(*option);
  };
  if (separator <= KeptOfType || fits(option->text)) return;
  const auto name = option->text.mid(separator + Separator.size());
  const auto shortened = option->text.left(KeptOfType) + QChar(0x2026) + name;
  option->text = fits(shortened) ? shortened : name;
}

}  // namespace norvane::console
