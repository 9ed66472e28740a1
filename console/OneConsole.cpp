#include "console/OneConsole.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QThread>
#include <QWidget>
#include <stdexcept>
#include <utility>

namespace norvane::console {

namespace {
constexpr char WaylandToken[] = "XDG_ACTIVATION_TOKEN";
constexpr char X11Token[] = "DESKTOP_STARTUP_ID";
constexpr qint64 LongestToken = 4096;
constexpr unsigned long PauseMilliseconds = 50;

/// Whether the other console has answered.
bool Call(const QString& name, const QByteArray& token, const QDeadlineTimer& deadline) {
  const auto left = [&deadline] { return static_cast<int>(deadline.remainingTime()); };
  QLocalSocket socket;
  socket.connectToServer(name);
  if (!socket.waitForConnected(left())) return false;
  socket.write(token + '\n');
  return socket.waitForReadyRead(left());
}
}  // namespace

std::unique_ptr<OneConsole> OneConsole::Claim(const std::string& folder, const QByteArray& token,
                                              std::chrono::milliseconds patience) {
  const auto socket = QString::fromStdString(folder + "/NorvaneConsole.sock");
  const QDeadlineTimer deadline(patience);
  do {
    if (auto lock = platform::FileLock::TryTake(folder + "/NorvaneConsole.lock"))
      return std::unique_ptr<OneConsole>(new OneConsole(std::move(*lock), socket));
    if (Call(socket, token, deadline)) return nullptr;
    QThread::msleep(PauseMilliseconds);  // it may be about to listen, or to end
  } while (!deadline.hasExpired());
  throw std::runtime_error("Norvane runs already, but does not answer");
}

OneConsole::OneConsole(platform::FileLock lock, const QString& socket) : m_lock(std::move(lock)) {
  connect(&m_server, &QLocalServer::newConnection, this, &OneConsole::Answer);
  m_server.setSocketOptions(QLocalServer::UserAccessOption);
  QLocalServer::removeServer(socket);  // of a console that was killed
  if (!m_server.listen(socket))
    throw std::runtime_error(m_server.errorString().toStdString() + ": " + socket.toStdString());
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
}

}  // namespace norvane::console
