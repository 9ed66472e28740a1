#pragma once

#include <cmath>

/// Lengths on forms are in twips: 1440 to the inch, and so 15 to a device independent pixel at 96 dpi.
namespace norvane::console::shared {

inline constexpr double TwipsPerPixel = 15;

[[nodiscard]] inline int ToPixels(double twips) {
  return static_cast<int>(std::lround(twips / TwipsPerPixel));
}
[[nodiscard]] inline double ToTwips(int pixels) {
  return pixels * TwipsPerPixel;
}

}  // namespace norvane::console::shared
