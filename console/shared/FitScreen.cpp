#include "console/shared/FitScreen.h"

#include <QApplication>
#include <QDialog>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <QVBoxLayout>

namespace norvane::console::shared {

QSize MaxInside(const QWidget& window) {
  return window.screen()->availableSize() - QSize(0, FrameHeight);
}

QSize WithScrollBars(QSize whole, QSize most) {
  const int bar = QApplication::style()->pixelMetric(QStyle::PM_ScrollBarExtent);
  auto size = whole;
  if (whole.height() > most.height()) size.rwidth() += bar;
  if (whole.width() > most.width()) size.rheight() += bar;
  return size.boundedTo(most);
}

QScrollArea* NewScrollArea(QWidget* parent) {
  auto* area = new QScrollArea(parent);
  area->setFrameShape(QFrame::NoFrame);
  area->setFocusPolicy(Qt::NoFocus);
  return area;
}

void FitScreen(QDialog& dialog) {
  dialog.adjustSize();
  const auto whole = dialog.size();
  const auto most = MaxInside(dialog);
  if (whole == whole.boundedTo(most)) return;
  auto* area = NewScrollArea(&dialog);
  auto* content =
      new QWidget(area->viewport());  // never without the dialog, which would undo its order of tabs
  content->setLayout(dialog.layout());
  area->setWidget(content);
  auto* layout = new QVBoxLayout(&dialog);
  layout->setContentsMargins({});
  layout->addWidget(area);
  dialog.setFixedSize(WithScrollBars(whole, most));
}

}  // namespace norvane::console::shared
