#pragma once

#include <QString>

namespace norvane::console::shared {

/// Escapes a window's title: "[*]" is the placeholder of the mark for unsaved changes.
[[nodiscard]] inline QString WindowTitle(QString text) {
  return text.replace(QLatin1String("[*]"), QLatin1String("[*][*]"));
}

}  // namespace norvane::console::shared
