// norvane: the console of the monitor engine of its folder.

#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "console/Console.h"
#include "console/ImageList.h"
#include "console/OneConsole.h"
#include "console/shared/EndWithoutDisplay.h"
#include "platform/Paths.h"

namespace {
namespace console = norvane::console;

int Run(const QByteArray& activationToken) {
  const auto& folder = norvane::platform::ApplicationFolder();
  const auto claim = console::OneConsole::Claim(folder, activationToken);
  if (!claim) return EXIT_SUCCESS;
  QObject::connect(claim.get(), &console::OneConsole::Called, qApp, console::ComeToFront);
  console::Console run(folder, [] { std::_Exit(EXIT_SUCCESS); });
  run.form.Form_Load();
  return QApplication::exec();
}
}  // namespace

int main(int /*argc*/, char** argv) {
  const auto activationToken = console::ActivationToken();
  int argc = 1;  // the command line is ignored
  const auto printMessage = qInstallMessageHandler(console::shared::EndWithoutDisplay);
  QApplication application(argc, argv);
  qInstallMessageHandler(printMessage);
  QApplication::setApplicationName(QStringLiteral("norvane"));
  QGuiApplication::setDesktopFileName(QStringLiteral("norvane"));
  QApplication::setWindowIcon(console::Drawing("norvane"));
  QApplication::setQuitOnLastWindowClosed(false);  // the splash is the only window for a while
  try {
    return Run(activationToken);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "norvane: %s\n", failure.what());
    console::shared::QtDialogs().Show(
        {.title = "Error", .text = failure.what(), .icon = console::shared::BoxIcon::Critical});
    return EXIT_FAILURE;
  }
}
