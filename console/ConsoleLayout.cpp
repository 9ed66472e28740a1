#include "console/ConsoleLayout.h"

namespace norvane::console {

// Each step reads what the steps before it have set, so the order matters.
void LayOut(ConsoleLayout& layout, double pageWidth) {
  auto& [window, toolBar, tvCtrl, picScroll, fram, lstV, img] = layout;
  tvCtrl.height = window.height - toolBar.height - 50;
  tvCtrl.top = toolBar.height + toolBar.top;
  tvCtrl.left = 6;
  picScroll.top = tvCtrl.top;
  fram.top = tvCtrl.top - 10;
  picScroll.height = tvCtrl.height;
  lstV.height = tvCtrl.height + 20;
  fram.height = tvCtrl.height + 20;
  picScroll.left = tvCtrl.width;
  lstV.left = lstV.top = 0;
  fram.left = picScroll.left;
  lstV.width = window.width - tvCtrl.width - picScroll.width - 20;
  fram.width = lstV.width;
  window.width = tvCtrl.width + pageWidth + 100;
  window.height = tvCtrl.height + toolBar.height + 520;
  img.left = 0;
  img.top = fram.height - img.height - 100;
}

}  // namespace norvane::console
