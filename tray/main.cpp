// norvane-tray: the state of the monitor engine of its folder, as an icon.

#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>

#include "console/shared/EndWithoutDisplay.h"
#include "platform/FileLock.h"
#include "platform/FileNames.h"
#include "platform/Paths.h"
#include "tray/EngineFollower.h"
#include "tray/TrayIcon.h"

namespace {
namespace platform = norvane::platform;
namespace tray = norvane::tray;

constexpr std::chrono::seconds Period{5};  // as the console's list
constexpr int InvalidUsage = 2;
constexpr char HelpText[] =
    "Usage: norvane-tray\n"
    "Shows the state of your services as an icon: green, red while there is an outage, grey if the\n"
    "engine does not run or is stalled. A desktop notification tells when an outage begins and ends.\n"
    "A click opens the console, norvane.\n";

int Run() {
  const auto& folder = platform::ApplicationFolder();
  const auto lock = platform::FileLock::TryLock(platform::PathIn(folder, platform::files::TrayLock));
  if (!lock) return EXIT_SUCCESS;
  tray::TrayIcon icon(folder);
  const tray::EngineFollower follower(folder, Period, [&icon](const tray::TrayUpdate& update) {
    QMetaObject::invokeMethod(
        &icon, [&icon, update] { icon.Show(update); }, Qt::QueuedConnection);
  });
  return QApplication::exec();
}
}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) {
    const bool isHelp = argc == 2 && std::string_view(argv[1]) == "--help";
    std::fputs(HelpText, isHelp ? stdout : stderr);
    return isHelp ? EXIT_SUCCESS : InvalidUsage;
  }
  const auto printMessage = qInstallMessageHandler(norvane::console::shared::EndWithoutDisplay);
  QApplication application(argc, argv);
  qInstallMessageHandler(printMessage);
  QApplication::setApplicationName(QStringLiteral("norvane-tray"));
  QApplication::setApplicationDisplayName(QStringLiteral("Norvane"));
  QApplication::setQuitOnLastWindowClosed(false);
  try {
    return Run();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "norvane-tray: %s\n", failure.what());
    return EXIT_FAILURE;
  }
}
