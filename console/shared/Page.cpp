#include "console/shared/Page.h"

#include "console/shared/Twips.h"

namespace norvane::console::shared {

namespace {
constexpr double Margin = 10;  // twips, from the frame's left and top
}

Page::Page(QWidget* parent) : QWidget(parent) {
  move(ToPixels(Margin), ToPixels(Margin));
}

}  // namespace norvane::console::shared
