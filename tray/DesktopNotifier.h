#pragma once

#include <QObject>
#include <QSet>
#include <QString>
#include <functional>

namespace norvane::tray {

/// Shows notifications by the desktop's notification service, under X11 and Wayland alike and whether or not
/// there is a tray. (QSystemTrayIcon does so only where the tray itself is reached by D-Bus.)
class DesktopNotifier : public QObject {
  Q_OBJECT

 public:
  using Fallback = std::function<void(const QString& title, const QString& text)>;

  /// `fallback` shows those that the service doesn't accept, such as when there is none.
  explicit DesktopNotifier(Fallback fallback);

  /// Plain text. Doesn't wait.
  void Show(const QString& title, const QString& text);

 signals:
  void Clicked();

 private slots:  // connected by name, as D-Bus signals are
  void ActionInvoked(uint id, const QString& action);
  void NotificationClosed(uint id, uint reason);

 private:
  void Send(const QString& title, const QString& text, bool readsMarkup);

  const Fallback m_fallback;
  QSet<uint> m_shown;
};

}  // namespace norvane::tray
