#include "console/WindowLayout.h"

#include <QMainWindow>

#include "console/ConsoleLayout.h"
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
}

}  // namespace norvane::console
