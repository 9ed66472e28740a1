#include "driver/ConsoleRun.h"

#include <QAction>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <stdexcept>

#include "console/StatusModel.h"

namespace norvane::driver {

using console::StatusModel;

std::string ConsoleRun::Result(const std::string& fullName) {
  console.form.Timer1_Timer();
  const auto names = Column(StatusModel::Name);
  for (std::size_t row = 0; row < names.size(); ++row)
    if (names[row] == fullName) return Cell(static_cast<int>(row), StatusModel::Result);
  throw std::runtime_error("the list has no " + fullName);
}

void ConsoleRun::AwaitResult(const std::string& fullName, const std::string& result) {
  Await('"' + result + "\" of " + fullName + " in the list", [&] { return Result(fullName) == result; });
}

void ConsoleRun::Choose(const char* entry) {
  Control<QAction>(entry).trigger();
}

QWidget& ConsoleRun::Page() const {
  for (const auto& page : console.bas.PageForms)
    if (page && page->isVisible()) return *page;
  throw std::runtime_error("no page is on show");
}

void ConsoleRun::OpenTab(int index) {
  auto& strip = *OnPage<QTabWidget>("SSTab1").tabBar();
  QTest::mouseClick(&strip, Qt::LeftButton, {}, strip.tabRect(index).center());
}

}  // namespace norvane::driver
