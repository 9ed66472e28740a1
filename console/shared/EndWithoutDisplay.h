#pragma once

#include <QString>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace norvane::console::shared {

/// A message handler for the time in which QApplication is made. It replaces the abort by which the window
/// system's library ends a program that cannot open windows.
inline void EndWithoutDisplay(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text) {
  std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, text.toUtf8().constData());
  if (type != QtFatalMsg) return;
  std::fprintf(stderr, "%s: no display to open windows on (see DISPLAY, WAYLAND_DISPLAY)\n",
               program_invocation_short_name);
  std::_Exit(EXIT_FAILURE);
}

}  // namespace norvane::console::shared
