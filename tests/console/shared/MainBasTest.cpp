#include "console/shared/MainBas.h"

#include <gtest/gtest.h>

#include "loopback/TempFolder.h"
#include "tests/support/FakeDialogs.h"
#include "tests/support/FakeEngine.h"
#include "tests/support/Files.h"

namespace norvane::tests {
namespace {

using console::shared::Box;
using console::shared::BoxIcon;
using console::shared::MainBas;

class MainBasTest : public ::testing::Test {
 protected:
  loopback::TempFolder folder;
  FakeEngine engine;
  FakeDialogs dialogs;
  MainBas bas{engine, dialogs, folder.Path(), [] {}};
};

TEST_F(MainBasTest, SharedObjectsAreMadeAtEachFirstUse) {
  auto* reference = &*bas.CurrentRef;
  EXPECT_EQ(&*bas.CurrentRef, reference);
  bas.CurrentRef->SetMonitorName("WebMonitor Of a");
  bas.ReleaseAll();
  engine.Place("WebMonitor Of a");
  EXPECT_THROW(bas.Monitors->Resolve(*bas.CurrentRef), console::engine::EngineError)
      << "the new reference names nothing";
  bas.CurrentRef->SetMonitorName("WebMonitor Of a");
  bas.Monitors->Resolve(*bas.CurrentRef);
  EXPECT_EQ(bas.CurrentRef->GetMonitor()->Name(), "WebMonitor Of a");
}

TEST_F(MainBasTest, ConfigurationFileOfTheFolderUnlessAnotherIsNamed) {
  WriteFile(folder / "config.ini", "[help]\nfeedback=own\n");
  const auto other = WriteFile(folder / "other.ini", "[help]\nfeedback=other\n");
  EXPECT_EQ(bas.GetIniValue("help", "feedback", "none", ""), "own");
  EXPECT_EQ(bas.GetIniValue("help", "feedback", "none", other), "other");
  EXPECT_EQ(bas.GetIniValue("help", "missing", "none", ""), "none");
}

TEST_F(MainBasTest, AddressIsNotLookedFor) {
  for (const char* target : {"http://x.test/", "", "/no/such/file"}) {
    bas.OpenDocument(target, false);
    EXPECT_EQ(dialogs.opened.back(), target);
  }
}

TEST_F(MainBasTest, FailureOfAHandlerBecomesOneBox) {
  dialogs.Announce();
  bas.RunHandler([] { throw std::runtime_error("no luck"); });
  EXPECT_EQ(dialogs.TakeBoxes(),
            (std::vector<Box>{{.title = "Error", .text = "no luck", .icon = BoxIcon::Critical}}));
}

}  // namespace
}  // namespace norvane::tests
