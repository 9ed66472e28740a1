// norvane: the console of the monitor engine of its folder.

#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "console/FrmStart.h"
#include "console/ImageList.h"
#include "console/StartEngine.h"
#include "console/shared/MainBas.h"
#include "console/shared/QtCallWaiter.h"
#include "console/shared/QtDialogs.h"
#include "link/EngineClient.h"
#include "platform/Paths.h"

namespace {
int Run() {
  using namespace norvane;
  const auto& folder = platform::ApplicationFolder();
  console::shared::QtDialogs dialogs;
  console::shared::QtCallWaiter waiter(dialogs);
  link::EngineClient engine(
      {.folder = folder, .startEngine = [&folder] { console::StartEngine(folder); }, .waiter = &waiter});
  console::shared::MainBas bas(engine, dialogs, folder, [] { std::_Exit(EXIT_SUCCESS); });
  console::FrmStart form(bas);
  form.Form_Load();
  return QApplication::exec();
}
}  // namespace

int main(int /*argc*/, char** argv) {
  int argc = 1;  // nothing is taken from the command line
  QApplication application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("norvane"));
  QGuiApplication::setDesktopFileName(QStringLiteral("norvane"));
  QApplication::setWindowIcon(norvane::console::Drawing("norvane"));
  QApplication::setQuitOnLastWindowClosed(false);  // the splash is the only window for a while
  try {
    return Run();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "norvane: %s\n", failure.what());
    norvane::console::shared::QtDialogs().Show(
        {.title = "Error", .text = failure.what(), .icon = norvane::console::shared::BoxIcon::Critical});
    return EXIT_FAILURE;
  }
}
