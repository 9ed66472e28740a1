#include "console/shared/ToolTips.h"

#include <QWidget>

namespace norvane::console::shared {

void ShowToolTips(const QWidget& form, std::span<const ToolTip> toolTips) {
  for (const auto& [control, text] : toolTips)
    form.findChild<QWidget*>(QLatin1String(control))->setToolTip(QLatin1String(text));
}

}  // namespace norvane::console::shared
