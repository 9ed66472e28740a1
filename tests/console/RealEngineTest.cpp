// The console's forms on the engine program itself.

#include <gtest/gtest.h>

#include <QAbstractItemModel>
#include <QTest>
#include <QTreeView>
#include <csignal>
#include <filesystem>

#include "console/FrmStart.h"
#include "console/StartEngine.h"
#include "console/shared/MainBas.h"
#include "console/shared/QtCallWaiter.h"
#include "console/shared/QtDialogs.h"
#include "link/EngineClient.h"
#include "tests/support/ConsoleFixture.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"
#include "tests/support/TempFolder.h"

namespace norvane::tests {
namespace {

using console::shared::BoxChoice;
using Texts = std::vector<std::string>;

/// One run of the console: what `main` makes, on scripted doors.
struct Console {
  explicit Console(const std::string& path) : folder(path) {}

  void Start() { LoadForm(form); }
  [[nodiscard]] Texts Names() const {
    Texts names;
    const auto& list = *form.findChild<QTreeView*>(QStringLiteral("LstV"))->model();
    for (int row = 0; row < list.rowCount(); ++row)
      names.push_back(list.index(row, 3).data().toString().toStdString());
    return names;
  }

  std::string folder;
  FakeDialogs dialogs;
  console::shared::QtDialogs doors;
  console::shared::QtCallWaiter waiter{doors};
  link::EngineClient engine{
      {.folder = folder, .startEngine = [this] { console::StartEngine(folder); }, .waiter = &waiter}};
  int ended = 0;
  console::shared::MainBas bas{engine, dialogs, folder, [this] { ++ended; }};
  console::FrmStart form{bas};
};

class RealEngineTest : public ::testing::Test {
 protected:
  RealEngineTest() { std::filesystem::create_symlink(Program("norvane-engine"), folder / "norvane-engine"); }
  ~RealEngineTest() override { Ctl({"shutdown"}); }

  Finished Ctl(Texts words) const {
    words.insert(words.begin(), {Program("norvanectl"), "--folder", folder.Path()});
    return RunProgram(words);
  }

  TempFolder folder;
};

TEST_F(RealEngineTest, ConsoleStartsTheEngineAndWhatIsSavedAtTheEndIsThereAgain) {
  {
    Console console(folder.Path());
    console.Start();
    EXPECT_EQ(console.form.windowTitle(), QStringLiteral("Norvane"));
    EXPECT_TRUE(console.Names().empty());
    ASSERT_EQ(Ctl({"add", "WebMonitor Of shop"}).code, 0);
    console.dialogs.Announce(BoxChoice::Yes);
    console.form.close();
    EXPECT_EQ(console.ended, 1);
  }
  ASSERT_EQ(Ctl({"shutdown"}).code, 0);
  Console console(folder.Path());
  console.Start();
  EXPECT_EQ(console.Names(), Texts{"WebMonitor Of shop"});
}

TEST_F(RealEngineTest, KilledEngineEndsTheConsoleAndNothingSavedIsLost) {
  console::StartEngine(folder.Path());
  ASSERT_EQ(Ctl({"add", "WebMonitor Of shop"}).code, 0);
  ASSERT_EQ(Ctl({"add", "SmtpMonitor Of post"}).code, 0);
  ASSERT_EQ(Ctl({"save"}).code, 0);
  {
    Console console(folder.Path());
    console.Start();
    EXPECT_EQ(console.Names(), (Texts{"WebMonitor Of shop", "SmtpMonitor Of post"}));
    console.dialogs.Announce();
    ASSERT_EQ(::kill(static_cast<pid_t>(console.engine.Info().processId), SIGKILL), 0);
    EXPECT_TRUE(QTest::qWaitFor([&console] {
      console.form.Timer1_Timer();
      return console.ended > 0;
    }));
    EXPECT_EQ(console.dialogs.TakeBoxes().at(0).title, "Restart");
  }
  Console console(folder.Path());
  console.Start();
  EXPECT_EQ(console.Names(), (Texts{"WebMonitor Of shop", "SmtpMonitor Of post"}));
}

TEST_F(RealEngineTest, EngineThatCanNotBeStartedIsToldAndShowsInTheCaption) {
  std::filesystem::remove(folder / "norvane-engine");
  Console console(folder.Path());
  WriteFile(console.bas.DataFile(), "some data");
  console.dialogs.Announce();
  console.Start();
  EXPECT_NE(console.dialogs.TakeBoxes().at(0).text.find("can not start"), std::string::npos);
  EXPECT_EQ(console.form.windowTitle(), QStringLiteral("Norvane - can not connect to the monitor engine"));
  EXPECT_TRUE(console.form.isVisible());
}

}  // namespace
}  // namespace norvane::tests
