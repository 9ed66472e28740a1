#pragma once

class QMainWindow;
class QWidget;

namespace norvane::console {

namespace Ui {
class FrmStart;
}

/// Gives the main window and its controls their places and final sizes, so that `page`, the page of web
/// monitors, fits.
void LayOutWindow(QMainWindow& window, const Ui::FrmStart& ui, const QWidget& page);

}  // namespace norvane::console
