#pragma once

#include <QMenu>
#include <QSystemTrayIcon>

#include "tray/DesktopNotifier.h"
#include "tray/OutageWatch.h"

namespace norvane::tray {

/// The icon, its menu and the notifications.
class TrayIcon : public QObject {
 public:
  /// Of an application folder, whose console a click opens.
  explicit TrayIcon(const std::string& folder);

  void Show(const TrayUpdate& update);

 private:
  void ShowColour(Colour colour);
  void OpenConsole();

  const QString m_console;
  Colour m_colour = Colour::Grey;
  QMenu m_menu;
  QSystemTrayIcon m_icon;
  DesktopNotifier m_notifier;
};

}  // namespace norvane::tray
