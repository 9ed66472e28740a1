#pragma once

#include <QString>

namespace norvane::console::shared {

/// A window's title that reads as `text`: on its own, "[*]" would stand for a document that has changed.
[[nodiscard]] inline QString WindowTitle(QString text) {
  return text.replace(QLatin1String("[*]"), QLatin1String("[*][*]"));
}

}  // namespace norvane::console::shared
