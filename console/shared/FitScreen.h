#pragma once

#include <QSize>

class QDialog;
class QScrollArea;
class QWidget;

/// Windows that are larger than the screen, as with a large font or scale: their content scrolls.
namespace norvane::console::shared {

/// Of a window manager, at the most; the real one is not known before a window shows.
inline constexpr int FrameHeight = 40;

/// The largest inside of `window` with which all of it is on its screen.
[[nodiscard]] QSize MaxInside(const QWidget& window);

/// The inside of a window that shows all of `whole`, or as much as `most` allows beside scroll bars.
[[nodiscard]] QSize WithScrollBars(QSize whole, QSize most);

/// An area without a frame, which Tab passes over.
[[nodiscard]] QScrollArea* NewScrollArea(QWidget* parent);

/// Gives the dialog the size that its layout asks for, or that the screen allows. Before it is placed and
/// shows.
void FitScreen(QDialog& dialog);

}  // namespace norvane::console::shared
