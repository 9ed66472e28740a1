// norvane: the console of the monitor engine of its folder.

#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "console/Console.h"
#include "console/ImageList.h"
#include "platform/Paths.h"

namespace {
int Run() {
  norvane::console::Console console(norvane::platform::ApplicationFolder(), [] { std::_Exit(EXIT_SUCCESS); });
  console.form.Form_Load();
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
