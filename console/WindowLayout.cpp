#include "console/WindowLayout.h"

#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QScrollArea>

#include "console/ConsoleLayout.h"
#include "console/shared/FitScreen.h"
#include "console/shared/Twips.h"
#include "ui_FrmStart.h"

namespace norvane::console {

namespace {
using shared::ToPixels;
using shared::ToTwips;

constexpr double TreeWidth = 2604;
constexpr double StripWidth = 50;

Area BoxOf(const QWidget& widget) {
  return {ToTwips(widget.x()), ToTwips(widget.y()), ToTwips(widget.width()), ToTwips(widget.height())};
}

void Place(QWidget& widget, const Area& box) {
  widget.setGeometry(ToPixels(box.left), ToPixels(box.top), ToPixels(box.width), ToPixels(box.height));
}

/// A page that a large font has made larger needs a larger frame, with space for the picture below it.
void FitLargeFont(QMainWindow& window, const Ui::FrmStart& ui, const QWidget& page) {
  constexpr QSize gaps{2, 12};
  const auto needed = page.size() + gaps + QSize(0, ui.Img->height());
  window.setFixedSize(window.size() + (needed - ui.Fram->size()).expandedTo({0, 0}));
}

/// In the half of the tool bar that has no buttons.
void PlaceSearch(QWidget& field, const QWidget& toolBar) {
  constexpr int Gap = 4;
  const int width = toolBar.width() / 4;
  const int height = std::min(field.sizeHint().height(), toolBar.height());
  field.setGeometry(toolBar.width() - width - Gap, toolBar.y() + (toolBar.height() - height) / 2, width,
                    height);
}

/// Below the tree; only a large font needs more than the strip that the window has there.
void PlaceStatusBar(QMainWindow& window, QWidget& statusBar, const QRect& tree) {
  const int top = tree.bottom() + 1;
  const int height = statusBar.fontMetrics().height();
  const int missing = window.menuBar()->sizeHint().height() + top + height - window.height();
  if (missing > 0) window.setFixedSize(window.size() + QSize(0, missing));
  constexpr int margin = 4;
  statusBar.setGeometry(tree.left() + margin, top, window.width() - 2 * margin, height);
}

void FitScreen(QMainWindow& window) {
  const auto whole = window.size();
  const auto most = shared::MaxInside(window);
  if (whole == whole.boundedTo(most)) return;
  auto* content = window.takeCentralWidget();
  content->setMinimumSize(whole - QSize(0, content->y()));
  auto* area = shared::NewScrollArea(&window);
  area->setWidgetResizable(true);
  area->setWidget(content);
  window.setCentralWidget(area);
  window.setFixedSize(shared::WithScrollBars(whole, most));
}
}  // namespace

void LayOutWindow(QMainWindow& window, const Ui::FrmStart& ui, const QWidget& page) {
  FitLargeFont(window, ui, page);
  ConsoleLayout layout{
      .window = BoxOf(window),
      .toolBar = BoxOf(*ui.ToolBar),
      .tvCtrl = BoxOf(*ui.TvCtrl),
      .picScroll = BoxOf(*ui.PicScroll),
      .fram = BoxOf(*ui.Fram),
      .lstV = BoxOf(*ui.LstV),
      .img = BoxOf(*ui.Img),
  };
  layout.tvCtrl.width = TreeWidth;
  layout.picScroll.width = StripWidth;
  LayOut(layout, ToTwips(page.width()));
  Place(*ui.TvCtrl, layout.tvCtrl);
  Place(*ui.PicScroll, layout.picScroll);
  Place(*ui.Fram, layout.fram);
  Place(*ui.LstV, layout.lstV);
  Place(*ui.Img, layout.img);
  window.setFixedSize(ToPixels(layout.window.width), ToPixels(layout.window.height));
  ui.ToolBar->resize(window.width(), ui.ToolBar->height());
  PlaceSearch(*ui.txtSearch, *ui.ToolBar);
  PlaceStatusBar(window, *ui.lblCounts, ui.TvCtrl->geometry());
  FitScreen(window);
}

}  // namespace norvane::console
