#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QProcess>
#include <QTimer>
#include <string>

#include "demo/News.h"

namespace norvane::demo {

/// The user plays with the real console, while the services fail and come back each minute and the terminal
/// shows what happens.
class Play : public QObject {
 public:
  /// All of these outlive it; the engine runs already.
  Play(link::EngineClient& engine, DemoServers& servers, const DemoFolder& folder);

  /// Returns when the user closes the console or interrupts the program. Throws if the console fails.
  void Run();

 private:
  void Schedule();
  void PrintNews();
  void Print(const std::string& text) const;
  void End(const std::string& failure = "");

  DemoServers& m_servers;
  News m_news;
  QProcess m_console;
  QElapsedTimer m_since;
  QTimer m_look;
  std::string m_failure;
};

}  // namespace norvane::demo
