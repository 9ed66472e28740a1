#pragma once

#include <span>

class QWidget;

namespace norvane::console::shared {

struct ToolTip {
  const char* control;  ///< its object name
  const char* text;
};

/// Gives controls that several forms have the tool tips that they have on this one.
void ShowToolTips(const QWidget& form, std::span<const ToolTip> toolTips);

}  // namespace norvane::console::shared
