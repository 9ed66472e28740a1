#include <QCloseEvent>
#include <QTimer>

#include "tests/support/ConsoleFixture.h"

namespace norvane::tests {
namespace {

using console::engine::EngineError;
using console::engine::EngineErrorCode;
using console::shared::Box;
using Calls = std::vector<std::string>;

class QuitTest : public ConsoleFixture {
 protected:
  const Box question{.title = "Information",
                     .text = "Are you sure you want to quit Norvane?",
                     .icon = BoxIcon::Exclamation,
                     .buttons = BoxButtons::YesNo};
};

TEST_F(QuitTest, NoChangesNothing) {
  StartWith({{"WebMonitor Of a", "Enable"}});
  dialogs.Announce(BoxChoice::No);
  Control<QAction>("mnuExit").trigger();
  EXPECT_EQ(dialogs.TakeBoxes(), std::vector<Box>{question});
  EXPECT_TRUE(form->isVisible());
  EXPECT_TRUE(Control<QTimer>("Timer1").isActive());
  EXPECT_TRUE(engine.TakeCalls().empty());
  EXPECT_EQ(ended, 0);
}

TEST_F(QuitTest, YesSavesAndEndsWhateverTheSaveGives) {
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"saved", [] {}},
      {"save fails", [this] { engine.FailOnce("Save", EngineError(EngineErrorCode::Failed, "disk full")); }},
      {"engine gone", [this] { engine.EndEngine(); }},
  };
  for (const auto& [name, prepare] : rows) {
    SCOPED_TRACE(name);
    form.reset();
    form = std::make_unique<console::FrmStart>(bas);
    ended = 0;
    Start();
    (void)engine.TakeCalls();
    prepare();
    dialogs.Announce(BoxChoice::Yes);
    form->close();
    EXPECT_EQ(dialogs.TakeBoxes(), std::vector<Box>{question});
    EXPECT_EQ(engine.TakeCalls(), Calls{"Save(\"" + bas.DataFile() + "\")"});
    EXPECT_FALSE(Control<QTimer>("Timer1").isActive());
    EXPECT_EQ(ended, 1);
    for (const auto& page : bas.PageForms)
      EXPECT_TRUE(page.isNull());
  }
}

TEST_F(QuitTest, YesEndsWithoutAStore) {
  engine.FailOnce("Commit", EngineError(EngineErrorCode::Failed, "broken"));
  Start();
  dialogs.Announce(BoxChoice::Yes);
  form->close();
  EXPECT_EQ(ended, 1);
}

}  // namespace
}  // namespace norvane::tests
