#include "tray/TrayIcon.h"

#include <QApplication>
#include <QIcon>
#include <QProcess>

namespace norvane::tray {

TrayIcon::TrayIcon(const std::string& folder)
    : m_console(QString::fromStdString(folder) + QStringLiteral("/norvane")),
      m_notifier([this](const QString& title, const QString& text) { m_icon.showMessage(title, text); }) {
  m_menu.addAction(QStringLiteral("Open Norvane"), this, &TrayIcon::OpenConsole);
  m_menu.addAction(QStringLiteral("Quit"), qApp, &QApplication::quit);
  m_icon.setContextMenu(&m_menu);
  connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger) OpenConsole();
  });
  connect(&m_icon, &QSystemTrayIcon::messageClicked, this, &TrayIcon::OpenConsole);
  connect(&m_notifier, &DesktopNotifier::Clicked, this, &TrayIcon::OpenConsole);
  ShowColour(m_colour);
  m_icon.setToolTip(QStringLiteral("Norvane"));
  m_icon.show();
}

void TrayIcon::Show(const TrayUpdate& update) {
  if (update.colour != m_colour) ShowColour(update.colour);
  if (const auto toolTip = QString::fromStdString(update.toolTip); toolTip != m_icon.toolTip())
    m_icon.setToolTip(toolTip);
  for (const auto& notice : update.notices)
    m_notifier.Show(QString::fromStdString(notice.title), QString::fromStdString(notice.text));
}

void TrayIcon::ShowColour(Colour colour) {
  m_colour = colour;
  const char* name = colour == Colour::Green ? "green" : colour == Colour::Red ? "red" : "grey";
  m_icon.setIcon(QIcon(QStringLiteral(":/norvane-tray/%1.svg").arg(QLatin1String(name))));
}

void TrayIcon::OpenConsole() {
  if (!QProcess::startDetached(m_console, {}))
    m_notifier.Show(QStringLiteral("Norvane"), QStringLiteral("cannot start %1").arg(m_console));
}

}  // namespace norvane::tray
