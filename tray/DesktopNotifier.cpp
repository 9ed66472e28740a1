#include "tray/DesktopNotifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>
#include <utility>

namespace norvane::tray {

namespace {
const QString Service = QStringLiteral("org.freedesktop.Notifications");
const QString Path = QStringLiteral("/org/freedesktop/Notifications");
const QString ClickAction = QStringLiteral("default");
constexpr int DefaultTimeout = -1;

/// `handle(call)` runs when the call has ended.
template <class Handle>
void Call(QObject* owner, const QString& method, const QVariantList& arguments, Handle handle) {
  auto message = QDBusMessage::createMethodCall(Service, Path, Service, method);
  message.setArguments(arguments);
  auto* call = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), owner);
  QObject::connect(call, &QDBusPendingCallWatcher::finished, owner, [call, handle] {
    call->deleteLater();
    handle(*call);
  });
}
}  // namespace

DesktopNotifier::DesktopNotifier(Fallback fallback) : m_fallback(std::move(fallback)) {
  auto bus = QDBusConnection::sessionBus();
  bus.connect(Service, Path, Service, QStringLiteral("ActionInvoked"), this,
              SLOT(ActionInvoked(uint, QString)));
  bus.connect(Service, Path, Service, QStringLiteral("NotificationClosed"), this,
              SLOT(NotificationClosed(uint, uint)));
}

/// The service may have been replaced by another, so it is asked each time.
void DesktopNotifier::Show(const QString& title, const QString& text) {
  Call(this, QStringLiteral("GetCapabilities"), {},
       [this, title, text](const QDBusPendingReply<QStringList>& reply) {
         if (reply.isError()) return m_fallback(title, text);
         Send(title, text, reply.value().contains(QStringLiteral("body-markup")));
       });
}

void DesktopNotifier::Send(const QString& title, const QString& text, bool readsMarkup) {
  const QVariantList arguments = {QStringLiteral("Norvane"),
                                  0U,  // replaces none
                                  QStringLiteral("norvane"),
                                  title,
                                  readsMarkup ? text.toHtmlEscaped() : text,
                                  QStringList{ClickAction, QStringLiteral("Open Norvane")},
                                  QVariantMap{{QStringLiteral("desktop-entry"), QStringLiteral("norvane")}},
                                  DefaultTimeout};
  Call(this, QStringLiteral("Notify"), arguments, [this, title, text](const QDBusPendingReply<uint>& reply) {
    if (reply.isError()) return m_fallback(title, text);
    m_shown.insert(reply.value());
  });
}

void DesktopNotifier::ActionInvoked(uint id, const QString& action) {
  if (m_shown.contains(id) && action == ClickAction) emit Clicked();
}

void DesktopNotifier::NotificationClosed(uint id, uint /*reason*/) {
  m_shown.remove(id);
}

}  // namespace norvane::tray
