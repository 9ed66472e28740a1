#pragma once

namespace norvane::console {

/// Place and size in twips, within the parent.
struct Area {
  double left = 0;
  double top = 0;
  double width = 0;
  double height = 0;
};

/// The main window and its controls. `lstV` and `img` are in `fram`.
struct ConsoleLayout {
  Area window;
  Area toolBar;
  Area tvCtrl;
  Area picScroll;
  Area fram;
  Area lstV;
  Area img;
};

/// Lays the window out, from the sizes as designed, and gives it its final size, from the width of the web
/// monitor's page.
void LayOut(ConsoleLayout& layout, double pageWidth);

}  // namespace norvane::console
