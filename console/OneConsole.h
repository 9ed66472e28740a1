#pragma once

#include <QByteArray>
#include <QLocalServer>
#include <chrono>
#include <memory>
#include <string>

#include "platform/FileLock.h"

namespace norvane::console {

/// The claim of a console on its application folder, which has one console at a time. Holds until the process
/// ends, by whatever cause.
class OneConsole : public QObject {
  Q_OBJECT

 public:
  ~OneConsole() override;
  /// Nothing if the folder has a console already, which has then been activated with `token`. Throws
  /// std::runtime_error if it doesn't answer in time, std::system_error if the folder can't be written to.
  [[nodiscard]] static std::unique_ptr<OneConsole> Claim(
      const std::string& folder, const QByteArray& token,
      std::chrono::milliseconds timeout = std::chrono::seconds(5));

 signals:
  /// The user has started another console here. The token, which may be empty, is the desktop's permission to
  /// come to the front.
  void Called(const QByteArray& token);

 private:
  OneConsole(platform::FileLock lock, std::string socket);
  void Answer();

  const platform::FileLock m_lock;
  const std::string m_socket;
  QLocalServer m_server;
};

/// The activation token of this process. To be read before QApplication, which unsets it.
[[nodiscard]] QByteArray ActivationToken();

/// Brings up the window that the user would work on now, if there is one.
void ComeToFront(const QByteArray& token);

}  // namespace norvane::console
