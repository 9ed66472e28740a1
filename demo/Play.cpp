#include "demo/Play.h"

#include <unistd.h>

#include <QCoreApplication>
#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "demo/DemoFolder.h"
#include "demo/DemoServers.h"
#include "demo/Interrupt.h"

namespace norvane::demo {

using namespace std::chrono_literals;

namespace {
constexpr auto Round = 64s;
constexpr auto LookEvery = 200ms;

struct Turn {
  std::chrono::seconds at;  // within a round
  const char* text;
  void (DemoServers::*set)(bool good);
  bool good;
};
constexpr Turn Turns[] = {
    {12s, "The shop's page loses its basket.", &DemoServers::SetShop, false},
    {24s, "The shop's page is repaired.", &DemoServers::SetShop, true},
    {30s, "The mailbox changes its password.", &DemoServers::SetMailbox, false},
    {42s, "The mailbox accepts the password again.", &DemoServers::SetMailbox, true},
    {46s, "The mail relay goes down.", &DemoServers::SetRelay, false},
    {58s, "The mail relay is up again.", &DemoServers::SetRelay, true},
};

constexpr char Welcome[] =
    "The console starts now, with a web server, two mail servers, a mailbox and a pager gateway, all on "
    "this\n"
    "machine. The list shows the results of the checks: blue is good, red is failed. Each minute the "
    "services\n"
    "fail and recover in turn; what the engine does is printed here. Click a monitor to see its settings "
    "and\n"
    "change them as you like. The demonstration ends when you close the console.\n";
}  // namespace

Play::Play(link::EngineClient& engine, DemoServers& servers, const DemoFolder& folder)
    : m_servers(servers), m_news(engine, servers, folder) {
  m_console.setProgram(QString::fromStdString(folder / "norvane"));
  m_console.setChildProcessModifier([] { ::setpgid(0, 0); });  // the terminal's Ctrl-C is for this program
  m_console.setProcessChannelMode(QProcess::ForwardedChannels);
  connect(&m_look, &QTimer::timeout, this, &Play::PrintNews);
  connect(&m_console, &QProcess::errorOccurred, this,
          [this] { End("cannot run the console: " + m_console.errorString().toStdString()); });
  connect(&m_console, &QProcess::finished, this,
          [this](int code) { End(code == 0 ? "" : "the console ended with code " + std::to_string(code)); });
}

void Play::Run() {
  std::printf("%s\n", Welcome);
  m_since.start();
  m_look.start(LookEvery);
  Schedule();
  const Interrupt interrupt([this] { End(); });
  m_console.start();
  QCoreApplication::exec();
  m_console.disconnect(this);
  m_console.terminate();
  m_console.waitForFinished();
  if (!m_failure.empty()) throw std::runtime_error(m_failure);
}

void Play::Schedule() {
  for (const auto& turn : Turns)
    QTimer::singleShot(turn.at, this, [this, &turn] {
      Print(turn.text);
      (m_servers.*turn.set)(turn.good);
    });
  QTimer::singleShot(Round, this, &Play::Schedule);
}

void Play::PrintNews() {
  try {
    for (const auto& text : m_news.Next())
      Print("  " + text);
  } catch (const std::exception& failure) {
    End(failure.what());
  }
}

void Play::Print(const std::string& text) const {
  std::printf("%4lld s  %s\n", static_cast<long long>(m_since.elapsed() / 1000), text.c_str());
  std::fflush(stdout);
}

void Play::End(const std::string& failure) {
  if (m_failure.empty()) m_failure = failure;
  QCoreApplication::quit();
}

}  // namespace norvane::demo
