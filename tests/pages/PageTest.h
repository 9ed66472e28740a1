#pragma once

#include <gtest/gtest.h>

#include <QWidget>
#include <map>
#include <memory>
#include <string>

#include "console/shared/MainBas.h"
#include "driver/Windows.h"
#include "loopback/TempFolder.h"
#include "pages/MonitorPage.h"
#include "settings/Type.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/FakeEngine.h"

class QTabWidget;

namespace norvane::tests {

using namespace driver;

inline const settings::Type AllTypes[] = {settings::Type::Web, settings::Type::Pop3, settings::Type::Smtp};

/// One page on show in a window of its own, over a fake engine with its gate open.
class PageTest : public ::testing::Test {
 protected:
  using Attributes = std::map<std::string, std::string, std::less<>>;

  PageTest();

  /// A page as it is before its first monitor, in place of the last one.
  pages::MonitorPage& NewPage(settings::Type type);
  /// Shows a monitor of the page's type that can be applied as it is, but for `changes`. None of the calls of
  /// it are on record. Each monitor has its own name.
  void Load(const Attributes& changes = {});
  [[nodiscard]] std::string InternetCall(const std::string& entry) const;

  template <class T = QWidget>
  [[nodiscard]] T& Control(const char* name) const {
    return Part<T>(*page, name);
  }
  [[nodiscard]] std::string Text(const char* name) const;
  void SetText(const char* name, const char* text);
  void ShowTabOf(const QWidget& control);

  loopback::TempFolder folder;
  FakeEngine engine;
  FakeDialogs dialogs;
  console::shared::MainBas bas{engine, dialogs, folder.Path(), [] {}};
  QWidget window;
  std::unique_ptr<pages::MonitorPage> page;

 private:
  settings::Type m_type = settings::Type::Web;
  int m_loaded = 0;
};

}  // namespace norvane::tests
