#include "console/OneConsole.h"

#include <unistd.h>
#include <xcb/xcb.h>
#include <QApplication>
#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QThread>
#include <QWidget>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "platform/FileNames.h"
#include "platform/UnixSocket.h"

namespace norvane::console {

namespace {
constexpr char WaylandToken[] = "XDG_ACTIVATION_TOKEN";
constexpr char X11Token[] = "DESKTOP_STARTUP_ID";
constexpr qint64 LongestToken = 4096;
constexpr unsigned long PauseMilliseconds = 50;
constexpr int Backlog = 8;

/// Whether the other console has answered.
bool Call(const std::string& path, const QByteArray& token, const QDeadlineTimer& deadline) {
  auto connection = platform::ConnectTo(path);
  if (!connection) return false;
  QLocalSocket socket;
  socket.setSocketDescriptor(connection.Release());
  socket.write(token + '\n');
  return socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()));
}

/// The time of the user's act, which ends a token of X11; without a token it is now.
xcb_timestamp_t TimeOf(const QByteArray& token) {
  static constexpr std::string_view mark = "_TIME";
  const auto found = token.lastIndexOf(QByteArrayView(mark));
  return found < 0 ? XCB_CURRENT_TIME : token.mid(found + static_cast<qsizetype>(mark.size())).toUInt();
}

/// Asks the window manager once more, since it lets nothing come up for an old act, and Qt asks with the time
/// of the last one in this console.
void ActivateOnX11(WId window, const QByteArray& token) {
  static constexpr std::string_view request = "_NET_ACTIVE_WINDOW";
  const auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
  auto* server = x11 == nullptr ? nullptr : x11->connection();
  if (server == nullptr) return;
  const auto asked = xcb_intern_atom(server, 0, request.size(), request.data());
  const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
      xcb_intern_atom_reply(server, asked, nullptr), &std::free);
  if (!atom) return;
  constexpr std::uint32_t application = 1;
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = static_cast<xcb_window_t>(window);
  message.type = atom->atom;
  message.data.data32[0] = application;
  message.data.data32[1] = TimeOf(token);
  const auto root = xcb_setup_roots_iterator(xcb_get_setup(server)).data->root;
  xcb_send_event(server, 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                 reinterpret_cast<const char*>(&message));
  xcb_flush(server);
}
}  // namespace

std::unique_ptr<OneConsole> OneConsole::Claim(const std::string& folder, const QByteArray& token,
                                              std::chrono::milliseconds timeout) {
  const auto socket = platform::PathIn(folder, platform::files::ConsoleSocket);
  const QDeadlineTimer deadline(timeout);
  do {
    if (auto lock = platform::FileLock::TryLock(platform::PathIn(folder, platform::files::ConsoleLock)))
      return std::unique_ptr<OneConsole>(new OneConsole(std::move(*lock), socket));
    if (Call(socket, token, deadline)) return nullptr;
    QThread::msleep(PauseMilliseconds);  // it may be starting or exiting
  } while (!deadline.hasExpired());
  throw std::runtime_error("Norvane runs already, but does not answer");
}

/// The server gets a socket that listens, since its own way needs a longer path than a socket may have.
OneConsole::OneConsole(platform::FileLock lock, std::string socket)
    : m_lock(std::move(lock)), m_socket(std::move(socket)) {
  connect(&m_server, &QLocalServer::newConnection, this, &OneConsole::Answer);
  if (!m_server.listen(platform::ListenAt(m_socket, Backlog).Release()))
    throw std::runtime_error(m_server.errorString().toStdString() + ": " + m_socket);
}

OneConsole::~OneConsole() {
  ::unlink(m_socket.c_str());
}

void OneConsole::Answer() {
  auto* caller = m_server.nextPendingConnection();
  caller->setReadBufferSize(LongestToken);
  connect(caller, &QLocalSocket::disconnected, caller, &QObject::deleteLater);
  connect(caller, &QLocalSocket::readyRead, this, [this, caller] {
    if (!caller->canReadLine()) return;
    emit Called(caller->readLine().trimmed());
    caller->write("\n");
    caller->disconnectFromServer();
  });
}

QByteArray ActivationToken() {
  const auto token = qgetenv(WaylandToken);
  return token.isEmpty() ? qgetenv(X11Token) : token;
}

void ComeToFront(const QByteArray& token) {
  QWidget* front = QApplication::activeModalWidget();
  for (auto* window : QApplication::topLevelWidgets()) {
    if (!window->isVisible() || window->windowType() == Qt::ToolTip) continue;
    if (window->isMinimized()) window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    if (front == nullptr) front = window;
  }
  if (front == nullptr) return;
  qputenv(WaylandToken, token);  // where Qt looks for it
  front->raise();
  front->activateWindow();
  ActivateOnX11(front->winId(), token);
}

}  // namespace norvane::console
